// The progress bar's line (drawn only on a terminal, so no shell script sees
// it). The options and arguments are checked on the real shell
// (tests/tools/scripts/errors.sql).
#include "progress.h"

#include <gtest/gtest.h>

namespace parvex::shell {
namespace {

std::string Cells(const char* cell, int count) {
  std::string out;
  for (int i = 0; i < count; ++i) out += cell;
  return out;
}

TEST(ProgressTest, BarFillsWithTheFractionAndFitsTheWidth) {
  // 50 columns: "Loading  " (9) + bar + "  50%  (5/10)" (13) leaves 27 cells and one spare column.
  EXPECT_EQ(RenderProgressLine("Loading", 5, 10, 50), "Loading  " + Cells("█", 13) + Cells("░", 14) + "  50%  (5/10)");
  EXPECT_EQ(RenderProgressLine("Löading", 12, 10, 50), "Löading  " + Cells("█", 25) + "  100%  (10/10)");
  // The bar is never longer than 40 cells.
  EXPECT_EQ(RenderProgressLine("L", 1, 2, 200), "L  " + Cells("█", 20) + Cells("░", 20) + "  50%  (1/2)");
  // Too narrow for a bar of 10 cells: the counts alone.
  EXPECT_EQ(RenderProgressLine("Loading", 1, 4, 20), "Loading    25%  (1/4)");
}

}  // namespace
}  // namespace parvex::shell
