// WildcardMatch and LikePattern: LIKE matching.
//
// The meaning is that of the engine's segment-by-segment recursion. The
// pattern is read as a chain of levels, each a run of wildcards ('_' one byte
// each, '%' any number) followed by a literal segment (up to the next
// unescaped '_' or '%'). A level's segment may start at exactly the count of
// '_' bytes into the remaining text when its run has no '%', or anywhere from
// that count up to the last place the segment fits when it has one. The text
// and the segment are compared with ASCII letters folded. An exhausted text
// matches only an exhausted pattern or a pattern rest of exactly "%"; an
// exhausted pattern matches only an exhausted text.
//
// The recursion tries every candidate start and can take exponential time;
// this implementation gives the same answers in one left-to-right pass:
// - A level without '%' has one candidate: it is checked and passed.
// - A level with '%' is grouped with the '%'-free levels after it into one
//   block of fixed length (literal bytes and '_' positions). If the block runs
//   to the pattern's end it must end at the text's end: one candidate. If
//   another '%' level follows, the earliest place the block matches is the
//   only one worth trying: a '%' level that fails at some text offset fails
//   at every later one (its candidates there are a subset), so a later place
//   could not succeed where the earliest failed.
// The blocks are found by a direct search when short, with Boyer-Moore when
// they are longer plain text, otherwise with a bit-parallel shift-and scan,
// so a match costs O(text length x (1 + longest block / 64) + pattern length).
#include <algorithm>

#include "platform/text_encoding.h"
#include "query/functions.h"
#include "query/like_pattern.h"

namespace parvex {

// A fixed-length piece of pattern: folded bytes, some of them "any byte",
// with its search tables built once.
struct LikePattern::Block {
  std::string bytes;
  std::vector<bool> any;
  bool hasAny = false;

  void AddAny(size_t count) {
    bytes.append(count, '\0');
    any.insert(any.end(), count, true);
    hasAny = hasAny || count > 0;
  }
  void AddLiteral(const std::string& literal) {
    bytes += literal;
    any.insert(any.end(), literal.size(), false);
  }
  size_t size() const { return bytes.size(); }

  // Builds the search tables; the block must not change afterwards.
  void Prepare() {
    if (!hasAny && bytes.size() > kShortBlock) {
      searcher = std::make_unique<Searcher>(bytes.begin(), bytes.end());
    } else if (hasAny) {
      PrepareShiftAnd();
    }
  }

  bool MatchesAt(std::string_view text, size_t at) const {
    for (size_t i = 0; i < bytes.size(); ++i) {
      if (!any[i] && text[at + i] != bytes[i]) return false;
    }
    return true;
  }

  // The first offset at or after `from` where the block matches, or npos.
  size_t FindFrom(std::string_view text, size_t from) const {
    if (from > text.size() || text.size() - from < bytes.size()) return std::string_view::npos;
    if (bytes.empty()) return from;
    if (!hasAny && !searcher) return text.find(bytes, from);
    if (!hasAny) {
      const std::string_view rest = text.substr(from);
      const auto found = std::search(rest.begin(), rest.end(), *searcher);
      return found == rest.end() ? std::string_view::npos : from + static_cast<size_t>(found - rest.begin());
    }
    return ShiftAnd(text, from);
  }

 private:
  using Searcher = std::boyer_moore_searcher<std::string::const_iterator>;
  static constexpr size_t kWordBits = 64;
  // Plain blocks up to this length are searched directly (no tables to build).
  static constexpr size_t kShortBlock = 16;

  // Shift-and tables: mask 0 holds only the "any byte" positions; each byte
  // value that occurs as a literal gets a mask of its own.
  void PrepareShiftAnd() {
    words = (bytes.size() + kWordBits - 1) / kWordBits;
    masks.assign(words, 0);
    maskOf.fill(0);
    for (size_t i = 0; i < bytes.size(); ++i) {
      if (any[i]) masks[i / kWordBits] |= uint64_t{1} << (i % kWordBits);
    }
    for (size_t i = 0; i < bytes.size(); ++i) {
      const unsigned char c = static_cast<unsigned char>(bytes[i]);
      if (any[i] || maskOf[c] != 0) continue;
      maskOf[c] = static_cast<uint32_t>(masks.size() / words);
      masks.insert(masks.end(), masks.begin(), masks.begin() + static_cast<std::ptrdiff_t>(words));
      for (size_t j = i; j < bytes.size(); ++j) {
        if (!any[j] && bytes[j] == bytes[i]) masks[maskOf[c] * words + j / kWordBits] |= uint64_t{1} << (j % kWordBits);
      }
    }
  }

  // Bit i of the state says that the block's first i + 1 bytes match the
  // text ending at the current byte.
  size_t ShiftAnd(std::string_view text, size_t from) const {
    const size_t last = bytes.size() - 1;
    state.assign(words, 0);
    for (size_t pos = from; pos < text.size(); ++pos) {
      const uint64_t* mask = &masks[maskOf[static_cast<unsigned char>(text[pos])] * words];
      uint64_t carry = 1;
      for (size_t w = 0; w < words; ++w) {
        const uint64_t shifted = (state[w] << 1) | carry;
        carry = state[w] >> (kWordBits - 1);
        state[w] = shifted & mask[w];
      }
      if (state[last / kWordBits] & (uint64_t{1} << (last % kWordBits))) return pos - last;
    }
    return std::string_view::npos;
  }

  std::unique_ptr<Searcher> searcher;
  size_t words = 0;
  std::array<uint32_t, 256> maskOf{};
  std::vector<uint64_t> masks;
  mutable std::vector<uint64_t> state;
};

LikePattern::LikePattern(std::string_view pattern, char escape) {
  // Split into levels; the last entry stands for the exhausted pattern.
  size_t at = 0;
  for (;;) {
    Level level;
    level.restIsPercent = pattern.substr(at) == "%";
    if (at == pattern.size()) {
      mLevels.push_back(std::move(level));
      break;
    }
    for (; at < pattern.size() && (pattern[at] == '_' || pattern[at] == '%'); ++at) {
      if (pattern[at] == '_') {
        ++level.underscores;
      } else {
        level.hasPercent = true;
      }
    }
    while (at < pattern.size()) {
      const char c = pattern[at];
      if (escape != 0 && c == escape) {
        if (++at < pattern.size()) level.segment.push_back(AsciiToLower(pattern[at++]));
        continue;
      }
      if (c == '_' || c == '%') break;
      level.segment.push_back(AsciiToLower(c));
      ++at;
    }
    mLevels.push_back(std::move(level));
  }
  // Each '%' level's segment and the '%'-free levels after it form one block.
  const size_t final = mLevels.size() - 1;
  for (size_t i = 0; i < final; ++i) {
    Level& l = mLevels[i];
    if (!l.hasPercent) continue;
    l.block = std::make_unique<Block>();
    l.block->AddLiteral(l.segment);
    size_t next = i + 1;
    for (; next != final && !mLevels[next].hasPercent; ++next) {
      l.block->AddAny(mLevels[next].underscores);
      l.block->AddLiteral(mLevels[next].segment);
    }
    l.next = next;
    l.block->Prepare();
  }
}

LikePattern::~LikePattern() = default;

bool LikePattern::Matches(std::string_view rawText) const {
  mFolded.assign(rawText);
  for (char& c : mFolded) c = AsciiToLower(c);
  const std::string_view text(mFolded);
  const size_t n = text.size();
  const size_t final = mLevels.size() - 1;

  size_t at = 0;  // text offset
  size_t level = 0;
  for (;;) {
    if (at == n) return level == final || mLevels[level].restIsPercent;
    if (level == final) return false;
    const Level& l = mLevels[level];
    if (!l.hasPercent) {
      const size_t start = at + l.underscores;
      if (start > n || n - start < l.segment.size()) return false;
      if (text.substr(start, l.segment.size()) != l.segment) return false;
      at = start + l.segment.size();
      ++level;
      continue;
    }
    const Block& block = *l.block;
    const size_t from = at + l.underscores;
    if (from > n || n - from < block.size()) return false;
    if (l.next == final) return block.MatchesAt(text, n - block.size());  // anchored at the end
    const size_t found = block.FindFrom(text, from);
    if (found == std::string_view::npos) return false;
    at = found + block.size();
    level = l.next;
  }
}

bool WildcardMatch(const string& text, const string& pattern, char escape) {
  return LikePattern(pattern.view(), escape).Matches(text.view());
}

}  // namespace parvex
