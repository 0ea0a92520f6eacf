// The shell's options and arguments, and the progress bar's line.
#include "command_line.h"

#include <gtest/gtest.h>

#include "progress.h"

namespace parvex::shell {
namespace {

bool Parse(std::vector<const char*> args, CommandLine* commandLine, std::string* error) {
  args.insert(args.begin(), "parvex");
  return ParseCommandLine(static_cast<int>(args.size()), args.data(), commandLine, error);
}

TEST(CommandLineTest, OptionsThenFileThenSql) {
  CommandLine c;
  std::string error;
  ASSERT_TRUE(Parse({"--csv", "--bail", "--no-headers", "--readonly", "--timeout", "250", "--no-sync", "db.pvx",
                     "SELECT 1", "--json"},
                    &c, &error));
  EXPECT_EQ(c.mode, OutputMode::kCsv);
  EXPECT_TRUE(c.bail);
  EXPECT_TRUE(c.readOnly);
  EXPECT_TRUE(c.noSync);
  EXPECT_EQ(c.timeoutMs, 250);
  EXPECT_EQ(c.headers, false);
  EXPECT_EQ(c.databasePath, "db.pvx");
  EXPECT_EQ(c.sql, (std::vector<std::string>{"SELECT 1", "--json"}));

  CommandLine dashed;
  ASSERT_TRUE(Parse({"--", "-odd-name"}, &dashed, &error));
  EXPECT_EQ(dashed.databasePath, "-odd-name");
  EXPECT_FALSE(dashed.mode.has_value());
}

// Unknown options and --help are checked on the real shell.
TEST(CommandLineTest, NoDatabaseFile) {
  CommandLine c;
  std::string error;
  EXPECT_FALSE(Parse({"--box"}, &c, &error));
  EXPECT_EQ(error, "no database file given");
  for (const char* bad : {"-5", "5ms", ""}) {
    EXPECT_FALSE(Parse({"--timeout", bad, "db.pvx"}, &c, &error)) << bad;
    EXPECT_EQ(error, "--timeout needs a number of milliseconds");
  }
}

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
