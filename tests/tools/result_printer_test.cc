// The printer stops when its stop check says so (Ctrl-C during a long
// result). What each output mode prints is checked by the shell scripts.
#include "result_printer.h"

#include <gtest/gtest.h>

#include <sstream>

namespace parvex::shell {
namespace {

TEST(ResultPrinterTest, StopCheckEndsPrintingEarly) {
  Database db;
  ASSERT_TRUE(db.Open("printer.pvx", PARVEX_OPEN_MEMORY));
  ASSERT_TRUE(db.Exec("CREATE TABLE t (n Integer)"));
  ASSERT_TRUE(db.Exec("INSERT INTO t VALUES (7)"));
  ASSERT_TRUE(db.Exec("INSERT INTO t VALUES (8)"));
  Statement query = db.Prepare("SELECT n FROM t");
  const bool rowReady = query.Step();
  OutputSettings settings;
  settings.mode = OutputMode::kList;
  std::ostringstream out;
  int calls = 0;
  ResultPrinter printer(settings, out, [&] { return ++calls > 1; });
  EXPECT_FALSE(printer.Print(query, rowReady));
  EXPECT_EQ(out.str(), "7\n");
}

}  // namespace
}  // namespace parvex::shell
