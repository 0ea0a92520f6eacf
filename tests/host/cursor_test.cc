// What a host script can't show of a cursor: a value whose type code the host
// has no reading for. Walking, reading and editing cursors is covered by the
// host scripts (tests/host/scripts).
#include "host/cursor.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "db/temp_table.h"

namespace parvex::kora {
namespace {

TEST(CursorTest, ATypeCodeWithoutAReadingIsReportedByNumber) {
  auto table = std::make_unique<ParvexTempTable>();
  table->AddColumn(string("odd"), 6);
  ParvexValueList row;
  row.push_back(new ParvexValueWithID(ParvexValue::Text(6, "odd"), 0));
  table->AddRow(row, true, nullptr);
  ParvexCursor cursor(nullptr, std::move(table), SimpleVector<string>(), SimpleVector<string>(),
                      SimpleVector<long>());
  KORAColumnValue value{};
  string error;
  EXPECT_FALSE(cursor.ColumnValue(0, &value, &error));
  EXPECT_EQ(error.str(), "ParvexCursorColumnValue: Not yet able to handle fieldType 6");
  EXPECT_FALSE(cursor.ColumnValue(1, &value, &error));  // no such column: refused quietly
}

}  // namespace
}  // namespace parvex::kora
