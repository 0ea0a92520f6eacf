// KeyDictionary: dense numbering in order of first appearance, whatever the
// keys' pattern (runs of integers share slot groups, strided ones must not
// pile up), and longer keys told apart by their bytes.
#include "query/key_dictionary.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <iterator>
#include <string>

namespace parvex {
namespace {

using namespace std::string_literals;

std::string IntegerKey(int32_t n) {
  std::string key(sizeof n, '\0');
  std::memcpy(key.data(), &n, sizeof n);
  return key;
}

TEST(KeyDictionaryTest, NumbersKeysDenselyForEveryPattern) {
  struct Case {
    uint32_t first, step;  // key i is first + step * i (wrapping)
  } cases[] = {{1, 1}, {100000, 0xFFFFFFFFu}, {0, 8}, {0xFFFFF000u, 1024}, {7, 65536}};
  for (const Case& c : cases) {
    const auto key = [&c](uint32_t i) { return IntegerKey(static_cast<int32_t>(c.first + c.step * i)); };
    KeyDictionary keys;
    constexpr uint32_t kCount = 20000;
    for (uint32_t i = 0; i < kCount; ++i) ASSERT_EQ(keys.Intern(key(i)), i);
    // Again, interleaved with keys that are absent.
    for (uint32_t i = 0; i < kCount; ++i) {
      EXPECT_EQ(keys.Intern(key(i)), i);
      EXPECT_EQ(keys.Find(key(i + kCount)), KeyDictionary::kNoKey);
    }
    EXPECT_EQ(keys.size(), kCount);
  }
}

TEST(KeyDictionaryTest, TellsKeysOfEveryLengthApart) {
  KeyDictionary keys;
  const std::string texts[] = {"", "a", "A", "a\0"s, "abcdefgh", "abcdefghi", "abcdefghj", "abcdefghi\0"s};
  for (uint32_t i = 0; i < std::size(texts); ++i) EXPECT_EQ(keys.Intern(texts[i]), i);
  for (uint32_t i = 0; i < std::size(texts); ++i) {
    EXPECT_EQ(keys.Find(texts[i]), i);
    EXPECT_EQ(keys.KeyOf(i), texts[i]);
  }
  EXPECT_EQ(keys.Find("abcdefgk"), KeyDictionary::kNoKey);
}

}  // namespace
}  // namespace parvex
