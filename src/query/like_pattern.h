// LikePattern: a LIKE pattern read once and matched against many texts.
//
// The meaning is WildcardMatch's (functions.h): '_' stands for one byte, '%'
// for any run of bytes, the escape character makes the byte behind it literal
// (and is dropped itself, as is a trailing escape character); letters match
// without regard to ASCII case. Preparing splits the pattern into its levels
// and search blocks once, so that a query matching one pattern against every
// row does that work once per statement, not once per row. A prepared pattern
// keeps a scratch buffer: it is not for use by two threads at once.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace parvex {

class LikePattern {
 public:
  LikePattern(std::string_view pattern, char escape);
  LikePattern(const LikePattern&) = delete;
  LikePattern& operator=(const LikePattern&) = delete;
  ~LikePattern();

  bool Matches(std::string_view text) const;

 private:
  struct Block;
  // One level of the pattern: a run of wildcards, then a literal segment.
  struct Level {
    size_t underscores = 0;  // bytes the run consumes at least
    bool hasPercent = false;
    std::string segment;         // literal bytes, ASCII-folded, escapes removed
    bool restIsPercent = false;  // the pattern from this level on is exactly "%"
    // For a '%' level: its segment and the '%'-free levels after it as one
    // fixed-length block, and the level after the block.
    std::unique_ptr<Block> block;
    size_t next = 0;
  };

  std::vector<Level> mLevels;  // the last entry stands for the exhausted pattern
  mutable std::string mFolded;  // scratch: the text with ASCII letters folded
};

}  // namespace parvex
