// LIKE matching: the documented examples, and equality with the plain
// segment-by-segment recursion (like_reference.h) on many inputs.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "like_reference.h"
#include "query/functions.h"

namespace parvex {
namespace {

// The documented examples: text, pattern, escape character, answer.
TEST(WildcardTest, Examples) {
  struct Case {
    const char* text;
    const char* pattern;
    char escape;
    bool match;
  };
  const Case cases[] = {
      {"foo", "f_o", 0, true}, {"foo", "___", 0, true}, {"foo", "%oo", 0, true}, {"foo", "f%o", 0, true},
      {"foo", "foo%", 0, true}, {"foo", "%", 0, true}, {"foo", "F%", 0, true}, {"foo", "_foo", 0, false},
      {"foo", "foo_", 0, false}, {"foo", "fo", 0, false}, {"foo", "", 0, false}, {"foo", "foo%%", 0, false},
      {"cool vanilla beans", "%vanilla%", 0, true}, {"cool vanilla beans", "_vanilla%", 0, false},
      {"cool vanilla beans", "%vanilla_", 0, false}, {"foo.dim", "%.d__", 0, true}, {"foo.db", "%.d__", 0, false},
      // A later candidate of a segment can succeed.
      {"abef abccdef abcdef abcef", "%ab__ef%", 0, true}, {"abef abccdef abxef abcef", "%ab__ef%", 0, false},
      // The escape character makes the next one literal; a trailing one is dropped.
      {"f%oo", "f^%oo", '^', true}, {"fxoo", "f^%oo", '^', false}, {"_foo", "^_foo%", '^', true},
      {"xfoo", "^_foo%", '^', false}, {"this^that", "%^^that", '^', true}, {"this^that", "%^^that", 0, false},
      {"this^^that", "%^^that", 0, true}, {"ab", "ab^", '^', true},
      {"", "", 0, true}, {"", "%", 0, true}, {"", "%%", 0, false}, {"", "_", 0, false},
      // '_' stands for one byte; only ASCII letters match without regard to case.
      {"\xC3\xA4", "__", 0, true}, {"\xC3\xA4", "_", 0, false}, {"\xC3\x84", "\xC3\xA4", 0, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(WildcardMatch(string(c.text), string(c.pattern), c.escape), c.match) << c.text << " LIKE " << c.pattern;
    EXPECT_EQ(ReferenceMatch(c.text, c.pattern, c.escape), c.match) << c.text << " LIKE " << c.pattern;
  }
  // NUL bytes are ordinary bytes, and NUL is no escape character.
  EXPECT_TRUE(WildcardMatch(string("a\0b", 3, kEncodingDefault), string("a\0%", 3, kEncodingDefault), 0));
}

// Every short pattern against every short text, for every kind of escape character.
TEST(WildcardTest, EqualsReferenceExhaustivelyOnShortInputs) {
  const std::string patternAlphabet = "aA_%^";
  const std::string textAlphabet = "aB^";
  auto all = [](const std::string& alphabet, size_t maxLength) {
    std::vector<std::string> out{""};
    for (size_t begin = 0, length = 1; length <= maxLength; ++length) {
      const size_t end = out.size();
      for (size_t i = begin; i < end; ++i) {
        for (char c : alphabet) out.push_back(out[i] + c);
      }
      begin = end;
    }
    return out;
  };
  const std::vector<std::string> patterns = all(patternAlphabet, 4);
  const std::vector<std::string> texts = all(textAlphabet, 3);
  size_t mismatches = 0;
  for (char escape : {'\0', '^', '_', '%', 'a'}) {
    for (const std::string& p : patterns) {
      for (const std::string& t : texts) {
        if (WildcardMatch(string(t), string(p), escape) != ReferenceMatch(t, p, escape)) {
          if (++mismatches < 10) ADD_FAILURE() << "'" << t << "' LIKE '" << p << "' ESCAPE " << int(escape);
        }
      }
    }
  }
  EXPECT_EQ(mismatches, 0u);
}

// Long blocks between '%' signs (plain and with '_' inside, longer than one
// machine word) against long texts, some found, some not.
TEST(WildcardTest, EqualsReferenceOnLongBlocks) {
  std::mt19937 random(99);
  auto pick = [&](size_t limit) { return std::uniform_int_distribution<size_t>(0, limit - 1)(random); };
  size_t matches = 0;
  for (int round = 0; round < 300; ++round) {
    std::string text(200 + pick(200), 'a');
    for (char& c : text) c = "aAb"[pick(3)];
    std::string pattern = round % 4 ? "%" : "";
    size_t start = 0;
    for (int block = 0; block < 2; ++block) {
      const size_t length = 17 + pick(90);
      // The second block often follows the first one directly in the text.
      start = (block == 1 && round % 2 && start + length <= text.size()) ? start : pick(text.size() - length);
      std::string piece = text.substr(start, length);
      for (char& c : piece) {
        const size_t r = pick(10);
        if (round % 3 && r == 0) c = '_';
        if (round % 5 == 0 && r == 1) c = 'b';  // may break the match
      }
      pattern += piece + (block == 0 ? "%" : (round % 2 ? "%" : ""));
      start += length;
    }
    const bool fast = WildcardMatch(string(text), string(pattern), 0);
    matches += fast;
    EXPECT_EQ(fast, ReferenceMatch(text, pattern, 0)) << text << " LIKE " << pattern;
  }
  EXPECT_GT(matches, 20u);
  EXPECT_LT(matches, 280u);
}

// Inputs on which the plain recursion takes exponential time answer at once.
TEST(WildcardTest, ManyPercentSignsOnALongText) {
  const std::string as(10000, 'a');
  EXPECT_FALSE(WildcardMatch(string(as), string("%a%a%a%a%a%a%a%a%b"), 0));
  EXPECT_TRUE(WildcardMatch(string(as + "b"), string("%a%a%a%a%a%a%a%a%b"), 0));
  EXPECT_TRUE(WildcardMatch(string(as), string("%a%a%a%a%a%a%a%a%"), 0));
  EXPECT_FALSE(WildcardMatch(string(as), string("%a_a%a_a%a_a%a_a%ab"), 0));

  // A pattern of many levels: no recursion depth to overflow.
  std::string pattern;
  for (int i = 0; i < 20000; ++i) pattern += "%a";
  EXPECT_TRUE(WildcardMatch(string(std::string(20000, 'A')), string(pattern), 0));
  EXPECT_FALSE(WildcardMatch(string(std::string(19999, 'a')), string(pattern), 0));
}

}  // namespace
}  // namespace parvex
