// The printer stops when its stop check says so (Ctrl-C during a long
// result). What each output mode prints is checked by the shell scripts.
#include "result_printer.h"

#include <gtest/gtest.h>

#include <sstream>

#include "db/temp_table.h"

namespace parvex::shell {
namespace {

TEST(ResultPrinterTest, StopCheckEndsPrintingEarly) {
  ParvexTempTable table;
  table.AddColumn(string("n"), kTypeInteger);
  for (int n : {7, 8}) {
    ParvexValueList row;
    row.push_back(new ParvexValueWithID(ParvexValue::Integer(n), 0));
    table.AddRow(row, true, nullptr);
  }
  OutputSettings settings;
  settings.mode = OutputMode::kList;
  std::ostringstream out;
  int calls = 0;
  ResultPrinter printer(settings, out, [&] { return ++calls > 1; });
  EXPECT_FALSE(printer.Print(table));
  EXPECT_EQ(out.str(), "7\n");
}

}  // namespace
}  // namespace parvex::shell
