// Fuzzes LIKE and the scalar text functions.
//
// Input: byte 0 picks the escape character and the text encoding, then the
// pattern and the text separated by the first 0xFF byte. WildcardMatch must
// agree with the defining recursion (checked when the inputs are small enough
// for the recursion to finish quickly) and no function may misbehave on any
// bytes in any encoding.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "../tests/query/like_reference.h"
#include "query/functions.h"

namespace {

constexpr size_t kReferenceTextLimit = 40;
constexpr size_t kReferencePercentLimit = 4;
constexpr uint32_t kEncodings[] = {parvex::kEncodingDefault, parvex::kEncodingUTF8, parvex::kEncodingUTF16};
constexpr char kEscapes[] = {'\0', '^', '_', '%', '\\'};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace parvex;
  if (size == 0) return 0;
  const uint8_t selector = data[0];
  const std::string_view rest(reinterpret_cast<const char*>(data + 1), size - 1);
  const size_t split = rest.find('\xFF');
  const std::string_view patternBytes = rest.substr(0, split);
  const std::string_view textBytes = split == std::string_view::npos ? std::string_view() : rest.substr(split + 1);
  const char escape = kEscapes[selector % 5];
  const uint32_t encoding = kEncodings[(selector / 5) % 3];
  const string text(textBytes, encoding);
  const string pattern(patternBytes, encoding);

  const bool fast = WildcardMatch(text, pattern, escape);
  const size_t percents = static_cast<size_t>(std::count(patternBytes.begin(), patternBytes.end(), '%'));
  if (textBytes.size() <= kReferenceTextLimit && percents <= kReferencePercentLimit &&
      fast != ReferenceMatch(textBytes, patternBytes, escape)) {
    __builtin_trap();
  }

  const ParvexValue a = ParvexValue::String(text);
  const ParvexValue b = ParvexValue::String(pattern);
  const ParvexValue n = ParvexValue::Integer(static_cast<int8_t>(selector));
  const ParvexValue m = ParvexValue::Integer(static_cast<int32_t>(patternBytes.size()) - 8);
  ParvexValue out;
  for (ParvexFuncCode code = kFuncBitLength; code <= kFuncTrim; ++code) {
    ParvexFuncEval(code, nullptr, &a, &b, &b, &out);
    ParvexFuncEval(code, nullptr, &a, &n, &m, &out);
  }
  return 0;
}
