// CheckReport: what an integrity check of a database file found.
//
// Problems are damage: bytes that are not what the format and the engine's
// own writing leave behind, so that reading them fails, loses rows or
// values, or may do so later. Notes are states the engine repairs by itself
// the next time the file is opened for writing (a row-position map marked
// "Drty" by an interrupted change, a missing map): they do not make a file
// damaged. Each is one line of text; the first kMaxLines of each kind are
// kept, the rest only counted.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace parvex {

struct CheckReport {
  static constexpr size_t kMaxLines = 1000;

  void Problem(std::string text);
  void Note(std::string text);
  bool Clean() const { return problemCount == 0; }
  // "ok: ..." or "damaged: N problems ...", with what was checked.
  std::string Summary(const std::string& fileName) const;

  std::vector<std::string> problems;
  std::vector<std::string> notes;
  size_t problemCount = 0;
  size_t noteCount = 0;
  // What was checked.
  size_t blocks = 0;
  size_t tables = 0;
  size_t indexes = 0;
  size_t rows = 0;
};

}  // namespace parvex
