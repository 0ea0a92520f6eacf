// LIKE matching: equality with the plain segment-by-segment recursion
// (like_reference.h) on many inputs. The documented examples, which pin the
// recursion itself down, are checked by tests/sql/scripts/expressions.sql.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "like_reference.h"
#include "query/functions.h"

namespace parvex {
namespace {

// NUL bytes are ordinary bytes, and NUL is no escape character (SQL text
// can't hold a NUL; the documented examples are in expressions.sql).
TEST(WildcardTest, NulIsAnOrdinaryByte) {
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
