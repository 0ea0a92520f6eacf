// ParvexFuncEval: the scalar built-in functions.
//
// Functions read their arguments through the value readings (GetString,
// GetInteger), so any argument type is accepted (NULL reads as "NULL" or 0);
// only BIT_LENGTH and OCTET_LENGTH answer NULL, for a NULL argument or one
// that is neither an integer nor a string. Text functions respect the text's encoding: UTF-8 counts characters
// (every byte that is not a continuation byte starts one), UTF-16 counts
// two-byte units, every other encoding counts bytes. No function reads
// outside its text, whatever the positions and counts it is given.
#include "query/functions.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>

#include "db/database.h"
#include "platform/text_encoding.h"
#include "platform/unicode_case.h"

namespace parvex {

namespace {

constexpr int32_t kIntegerBits = 32;
constexpr int32_t kIntegerOctets = 4;
constexpr int32_t kBitsPerOctet = 8;
constexpr size_t kUTF16UnitBytes = 2;

// Number of UTF-8 characters: bytes that are not continuation bytes.
size_t CountUTF8Chars(std::string_view text) {
  return static_cast<size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return !IsUTF8Continuation(static_cast<unsigned char>(c)); }));
}

// Byte offset of UTF-8 character number `index` (0-based): characters start at
// offset 0 and at every later byte that is not a continuation byte. Past the
// last character, the text's length.
size_t UTF8CharOffset(std::string_view text, size_t index) {
  if (index == 0) return 0;
  size_t seen = 0;
  for (size_t i = 1; i < text.size(); ++i) {
    if (!IsUTF8Continuation(static_cast<unsigned char>(text[i])) && ++seen == index) return i;
  }
  return text.size();
}

// ASCII-only case change, byte by byte, for texts that are not UTF-8.
string AsciiCase(const string& text, bool toUpper) {
  std::string bytes(text.view());
  for (char& c : bytes) c = toUpper ? AsciiToUpper(c) : AsciiToLower(c);
  return string(bytes.data(), bytes.size(), text.Encoding());
}

ParvexValue ChangeCase(const ParvexValue& arg, bool toUpper) {
  const string text = arg.GetString();
  if (text.Encoding() == kEncodingUTF8) {
    return ParvexValue::String(toUpper ? UTF8ToUpper(text) : UTF8ToLower(text));
  }
  return ParvexValue::String(AsciiCase(text, toUpper));
}

ParvexValue Length(const ParvexValue& arg, int32_t bitsPerByte, int32_t integerSize) {
  if (arg.IsNull()) return ParvexValue();
  if (arg.Type() == kTypeInteger) return ParvexValue::Integer(integerSize);
  if (arg.Type() == kTypeString) {
    // Wraps like every integer result of the engine rather than overflowing.
    const uint64_t length = arg.RawText().length() * static_cast<uint64_t>(bitsPerByte);
    return ParvexValue::Integer(static_cast<int32_t>(static_cast<uint32_t>(length)));
  }
  return ParvexValue();
}

ParvexValue CharLength(const ParvexValue& arg) {
  const string text = arg.GetString();
  const size_t n = text.Encoding() == kEncodingUTF8 ? CountUTF8Chars(text.view()) : text.length();
  return ParvexValue::Integer(static_cast<int32_t>(n));
}

// POSITION(needle IN haystack): 1-based, 0 when absent, 1 for an empty needle.
ParvexValue Position(const ParvexValue& haystackArg, const ParvexValue& needleArg) {
  const string haystack = haystackArg.GetString();
  const string needle = ConvertEncoding(needleArg.GetString(), haystack.Encoding());
  if (needle.empty()) return ParvexValue::Integer(1);
  const std::string_view hay = haystack.view();
  const std::string_view pin = needle.view();
  // Boyer-Moore finds the first occurrence in time linear in the haystack.
  const auto found = std::search(hay.begin(), hay.end(), std::boyer_moore_searcher(pin.begin(), pin.end()));
  if (found == hay.end()) return ParvexValue::Integer(0);
  const size_t offset = static_cast<size_t>(found - hay.begin());
  size_t answer = offset + 1;
  if (haystack.Encoding() == kEncodingUTF16) {
    // The byte-based answer (offset + 1) halved: a match at the first
    // character reports 0, one at the second character 1.
    answer /= 2;
  } else if (haystack.Encoding() == kEncodingUTF8) {
    answer = 1 + CountUTF8Chars(hay.substr(0, offset));
  }
  return ParvexValue::Integer(static_cast<int32_t>(answer));
}

// SUBSTRING(text FROM start [FOR count]): the window [start, start + count) of
// 1-based character positions intersected with the text; no count means up
// to the end, a negative count gives the empty string.
ParvexValue Substring(const ParvexValue& textArg, const ParvexValue& startArg, const ParvexValue* countArg) {
  const string text = textArg.GetString();
  const std::string_view bytes = text.view();
  const uint32_t encoding = text.Encoding();

  size_t units;  // the text's length in the encoding's units
  if (encoding == kEncodingUTF8) {
    units = CountUTF8Chars(bytes);
  } else if (encoding == kEncodingUTF16) {
    units = bytes.size() / kUTF16UnitBytes;
  } else {
    units = bytes.size();
  }
  const int64_t start = static_cast<int64_t>(startArg.GetInteger()) - 1;
  const bool toEnd = countArg == nullptr || countArg->IsNull();
  const int64_t count = toEnd ? 0 : countArg->GetInteger();
  if (!toEnd && count < 0) return ParvexValue::String(string(std::string_view(), encoding));

  const int64_t unitCount = static_cast<int64_t>(units);
  const int64_t first = std::clamp<int64_t>(start, 0, unitCount);
  const int64_t last = toEnd ? unitCount : std::clamp<int64_t>(start + count, first, unitCount);

  size_t from, to;  // byte offsets
  if (encoding == kEncodingUTF8) {
    from = UTF8CharOffset(bytes, static_cast<size_t>(first));
    to = UTF8CharOffset(bytes, static_cast<size_t>(last));
  } else if (encoding == kEncodingUTF16) {
    from = static_cast<size_t>(first) * kUTF16UnitBytes;
    to = toEnd ? bytes.size() : static_cast<size_t>(last) * kUTF16UnitBytes;
  } else {
    from = static_cast<size_t>(first);
    to = static_cast<size_t>(last);
  }
  return ParvexValue::String(text.Substring(from, to - from));
}

// TRIM([mode] [chars] FROM text). The trim text is matched whole and
// case-sensitively; trimming at the back never removes an occurrence that
// starts at offset 0 (the loop stops once the position falls below 1).
ParvexValue Trim(const ParvexValue& textArg, const ParvexValue* charsArg, const ParvexValue* modeArg) {
  const string text = textArg.GetString();
  if (text.empty()) return ParvexValue::String(text);
  const string trim = (charsArg && !charsArg->IsNull())
                          ? ConvertEncoding(charsArg->GetString(), text.Encoding())
                          : string(" ", text.Encoding());
  bool front = true;
  bool back = true;
  if (modeArg && !modeArg->IsNull()) {
    const string mode = modeArg->GetString();
    if (mode.Compare("LEADING") == 0) back = false;
    if (mode.Compare("TRAILING") == 0) front = false;
  }
  const std::string_view t = trim.view();
  std::string_view rest = text.view();
  if (t.empty()) return ParvexValue::String(text);  // nothing to remove

  if (front) {
    size_t offset = 0;
    while (rest.substr(offset, t.size()) == t) offset += t.size();
    rest.remove_prefix(offset);
  }
  if (back) {
    const int64_t step = static_cast<int64_t>(t.size());
    int64_t p = static_cast<int64_t>(rest.size());
    for (;;) {
      p -= step;
      if (p < 1) break;
      if (rest.substr(static_cast<size_t>(p), t.size()) != t) break;
    }
    rest = rest.substr(0, static_cast<size_t>(p + step));
  }
  return ParvexValue::String(string(rest, text.Encoding()));
}

}  // namespace

bool ParvexFuncEval(ParvexFuncCode code, ParvexDatabase* db, const ParvexValue* arg1, const ParvexValue* arg2,
                    const ParvexValue* arg3, ParvexValue* result) {
  ParvexValue value;  // NULL of type None until a function sets it
  switch (code) {
    case kFuncBitLength:
      if (!arg1) return false;
      value = Length(*arg1, kBitsPerOctet, kIntegerBits);
      break;
    case kFuncOctetLength:
      if (!arg1) return false;
      value = Length(*arg1, 1, kIntegerOctets);
      break;
    case kFuncCharLength:
      if (!arg1) return false;
      value = CharLength(*arg1);
      break;
    case kFuncCurrentDate:
      if (!db) return false;
      value = ParvexValue::String(db->currentDate);
      break;
    case kFuncCurrentTime:
      if (!db) return false;
      value = ParvexValue::String(db->currentTime);
      break;
    case kFuncCurrentTimestamp:
      if (!db) return false;
      value = ParvexValue::String(db->currentTimestamp);
      break;
    case kFuncLower:
    case kFuncUpper:
      if (!arg1) return false;
      value = ChangeCase(*arg1, code == kFuncUpper);
      break;
    case kFuncPosition:
      if (!arg1 || !arg2) return false;
      value = Position(*arg1, *arg2);
      break;
    case kFuncSubstring:
      if (!arg1 || !arg2) return false;
      value = Substring(*arg1, *arg2, arg3);
      break;
    case kFuncTrim:
      if (!arg1) return false;
      value = Trim(*arg1, arg2, arg3);
      break;
    case kFuncLastRowID: {
      if (!arg1 || !db) return false;
      // An unknown table leaves the result NULL; that is not a failure.
      if (const ParvexTable* table = db->FindTable(arg1->GetString())) {
        value = ParvexValue::Integer(static_cast<int32_t>(table->lastRowID));
      }
      break;
    }
    default:
      return false;  // aggregates are evaluated by the expression tree; unknown codes fail
  }
  if (result) *result = value;
  return true;
}

}  // namespace parvex
