// The recursion that defines LIKE, kept as the reference that WildcardMatch
// must agree with (tests and the LIKE fuzzer compare the two).
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "platform/parvex_string.h"

namespace parvex {

// Step by step, with no bound on its work: exponential on patterns with many
// '%' signs against long texts.
inline bool ReferenceMatch(std::string_view text, std::string_view pattern, char escape) {
  if (text.empty()) return pattern.empty() || pattern == "%";
  if (pattern.empty()) return false;
  const long textLength = static_cast<long>(text.size());
  size_t i = 0;
  long least = 0;  // count of '_'
  long most = 0;
  for (; i < pattern.size() && (pattern[i] == '_' || pattern[i] == '%'); ++i) {
    if (pattern[i] == '_') {
      ++least;
      ++most;
    } else {
      most = textLength;
    }
  }
  std::string segment;
  while (i < pattern.size()) {
    if (escape != 0 && pattern[i] == escape) {
      if (++i < pattern.size()) segment.push_back(pattern[i++]);
      continue;
    }
    if (pattern[i] == '_' || pattern[i] == '%') break;
    segment.push_back(pattern[i++]);
  }
  const long length = static_cast<long>(segment.size());
  const long last = std::min(textLength - length, most);
  if (least > last) return false;
  for (long start = least; start <= last; ++start) {
    const size_t s = static_cast<size_t>(start);
    if (CompareNoCase(text.substr(s, segment.size()), segment) == 0 &&
        ReferenceMatch(text.substr(s + segment.size()), pattern.substr(i), escape)) {
      return true;
    }
  }
  return false;
}

}  // namespace parvex
