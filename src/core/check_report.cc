// CheckReport: problem and note lines, and the summary.
#include "core/check_report.h"

#include <utility>

namespace parvex {

namespace {

std::string Counted(size_t n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

}  // namespace

void CheckReport::Problem(std::string text) {
  if (problems.size() < kMaxLines) problems.push_back(std::move(text));
  ++problemCount;
}

void CheckReport::Note(std::string text) {
  if (notes.size() < kMaxLines) notes.push_back(std::move(text));
  ++noteCount;
}

std::string CheckReport::Summary(const std::string& fileName) const {
  const std::string checked = Counted(tables, "table", "tables") + ", " + Counted(indexes, "index", "indexes") +
                              ", " + Counted(rows, "row", "rows") + ", " + Counted(blocks, "block", "blocks");
  if (Clean()) return "ok: " + fileName + " (" + checked + ")";
  return "damaged: " + Counted(problemCount, "problem", "problems") + " in " + fileName + " (" + checked +
         " checked)";
}

}  // namespace parvex
