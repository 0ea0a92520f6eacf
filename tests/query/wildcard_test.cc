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

bool Like(const char* text, const char* pattern, char escape = 0) {
  const bool fast = WildcardMatch(string(text), string(pattern), escape);
  EXPECT_EQ(fast, ReferenceMatch(text, pattern, escape)) << text << " LIKE " << pattern;
  return fast;
}

TEST(WildcardTest, SingleAndAnyCharacters) {
  for (const char* p :
       {"foo", "f_o", "_oo", "fo_", "_o_", "___", "%foo", "%oo", "f%o", "fo%", "foo%", "%", "FOO", "F%"}) {
    EXPECT_TRUE(Like("foo", p)) << p;
  }
  for (const char* p : {"fom", "_foo", "____", "foo_", "fo", "oo", "", "foo%%"})
    EXPECT_FALSE(Like("foo", p)) << p;

  EXPECT_TRUE(Like("cool vanilla beans", "%vanilla%"));
  EXPECT_FALSE(Like("cool vanilla beans", "_vanilla%"));
  EXPECT_FALSE(Like("cool vanilla beans", "%vanilla_"));
  EXPECT_FALSE(Like("cool vanilla beans", "%chocolate%"));

  EXPECT_TRUE(Like("foo.dat", "%.d__"));
  EXPECT_TRUE(Like("foo.dim", "%.d__"));
  EXPECT_FALSE(Like("foo.bat", "%.d__"));
  EXPECT_FALSE(Like("foo.db", "%.d__"));
}

TEST(WildcardTest, LaterCandidateOfASegmentCanSucceed) {
  EXPECT_TRUE(Like("abef abccdef abcdef abcef", "%ab__ef%"));
  EXPECT_FALSE(Like("abef abccdef abxef abcef", "%ab__ef%"));
  EXPECT_FALSE(Like("abef abccdef abcdeg abcef", "%ab__ef%"));
}

TEST(WildcardTest, EscapeMakesTheNextCharacterLiteral) {
  EXPECT_TRUE(Like("f%oo", "f^%oo", '^'));
  EXPECT_FALSE(Like("fxoo", "f^%oo", '^'));
  EXPECT_TRUE(Like("_foo", "^_foo%", '^'));
  EXPECT_FALSE(Like("xfoo", "^_foo%", '^'));
  EXPECT_TRUE(Like("this^that", "%^^that", '^'));
  EXPECT_FALSE(Like("this^that", "%^^that"));  // without an escape character '^' is plain
  EXPECT_TRUE(Like("this^^that", "%^^that"));
  EXPECT_TRUE(Like("ab", "ab^", '^'));  // a trailing escape character is dropped
}

TEST(WildcardTest, EmptyText) {
  EXPECT_TRUE(Like("", ""));
  EXPECT_TRUE(Like("", "%"));
  EXPECT_FALSE(Like("", "%%"));
  EXPECT_FALSE(Like("", "_"));
  EXPECT_FALSE(Like("", "a"));
}

TEST(WildcardTest, BytesWithoutCaseFoldingBeyondAscii) {
  // '_' stands for one byte, and only ASCII letters match without regard to case.
  EXPECT_TRUE(Like("\xC3\xA4", "__"));
  EXPECT_FALSE(Like("\xC3\xA4", "_"));
  EXPECT_FALSE(Like("\xC3\x84", "\xC3\xA4"));
  // NUL bytes are ordinary bytes, and NUL is no escape character.
  EXPECT_TRUE(WildcardMatch(string("a\0b", 3, kEncodingDefault), string("a\0%", 3, kEncodingDefault), 0));
}

// Every short pattern against every short text, for several escape characters.
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
  for (char escape : {'\0', '^', '_'}) {
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

TEST(WildcardTest, EqualsReferenceOnRandomInputs) {
  std::mt19937 random(20240611);
  const std::string alphabet = "aAbB_%^";
  const char escapes[] = {'\0', '^', '%', '_', 'a'};
  auto make = [&](size_t maxLength, const std::string& letters) {
    std::string s(std::uniform_int_distribution<size_t>(0, maxLength)(random), ' ');
    for (char& c : s) c = letters[std::uniform_int_distribution<size_t>(0, letters.size() - 1)(random)];
    return s;
  };
  size_t mismatches = 0;
  size_t matches = 0;
  for (int round = 0; round < 60000; ++round) {
    // Texts are mostly made of the pattern's letters so that matches are common.
    const string pattern(make(9, alphabet));
    const string text(make(12, round % 3 ? std::string("aAb") : alphabet));
    const char escape = escapes[round % 5];
    const bool fast = WildcardMatch(text, pattern, escape);
    matches += fast;
    if (fast != ReferenceMatch(text.view(), pattern.view(), escape)) {
      if (++mismatches < 10) ADD_FAILURE() << "'" << text.view() << "' LIKE '" << pattern.view() << "'";
    }
  }
  EXPECT_EQ(mismatches, 0u);
  EXPECT_GT(matches, 3000u);  // the inputs exercise both answers
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
