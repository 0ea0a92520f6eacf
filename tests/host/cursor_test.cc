// Walking and reading a result table through a host cursor.
#include "host/cursor.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "db/temp_table.h"

namespace parvex::kora {
namespace {

// A result of `rows` rows with one Integer column "n" holding 10, 20, ...
std::unique_ptr<ParvexCursor> NumbersCursor(int rows) {
  auto table = std::make_unique<ParvexTempTable>();
  table->AddColumn(string("n"), kTypeInteger);
  for (int r = 0; r < rows; ++r) {
    ParvexValueList row;
    row.push_back(new ParvexValueWithID(ParvexValue::Integer(10 * (r + 1)), 0));
    table->AddRow(row, true, nullptr);
  }
  return std::make_unique<ParvexCursor>(nullptr, std::move(table), SimpleVector<string>(),
                                        SimpleVector<string>(), SimpleVector<long>());
}

int32_t IntegerAt(const ParvexCursor& cursor) {
  KORAColumnValue value{};
  string error;
  EXPECT_TRUE(cursor.ColumnValue(0, &value, &error));
  return value.integer;
}

TEST(CursorTest, WalksForwardAndBackWithinTheRows) {
  auto cursor = NumbersCursor(3);
  EXPECT_EQ(cursor->QtyRows(), 3);
  EXPECT_EQ(IntegerAt(*cursor), 10);  // a fresh cursor stands on the first row
  EXPECT_TRUE(cursor->Next());
  EXPECT_EQ(IntegerAt(*cursor), 20);
  EXPECT_TRUE(cursor->Next());
  EXPECT_FALSE(cursor->Next());  // past the last row
  EXPECT_FALSE(cursor->OnRow());
  EXPECT_EQ(cursor->ColumnType(0), kTypeNone);
  EXPECT_FALSE(cursor->Next());  // and it stays there
  cursor->Previous();
  EXPECT_EQ(IntegerAt(*cursor), 30);
  cursor->First();
  EXPECT_EQ(IntegerAt(*cursor), 10);
  cursor->Previous();  // never before the first row
  EXPECT_EQ(cursor->CurrentRow(), 0);
  cursor->Last();
  EXPECT_EQ(IntegerAt(*cursor), 30);
  EXPECT_EQ(cursor->ColumnType(0), kTypeInteger);
}

TEST(CursorTest, AnEmptyResultHasNoRowToStandOn) {
  auto cursor = NumbersCursor(0);
  EXPECT_EQ(cursor->QtyRows(), 0);
  EXPECT_EQ(cursor->QtyColumns(), 1);
  EXPECT_EQ(cursor->ColumnName(0).str(), "n");
  EXPECT_FALSE(cursor->OnRow());
  cursor->First();
  cursor->Last();
  EXPECT_FALSE(cursor->Next());
  EXPECT_EQ(cursor->ColumnType(0), kTypeNone);
  KORAColumnValue value{};
  string error;
  EXPECT_FALSE(cursor->ColumnValue(0, &value, &error));
  EXPECT_TRUE(error.empty());
}

TEST(CursorTest, ColumnsOutsideTheResultAreRefusedQuietly) {
  auto cursor = NumbersCursor(1);
  for (long column : {-1L, 1L, 1000L}) {
    EXPECT_FALSE(cursor->ValidColumn(column));
    EXPECT_TRUE(cursor->ColumnName(column).empty());
    EXPECT_EQ(cursor->ColumnType(column), kTypeNone);
    KORAColumnValue value{};
    string error;
    EXPECT_FALSE(cursor->ColumnValue(column, &value, &error));
    EXPECT_TRUE(error.empty());
  }
}

TEST(CursorTest, DeliversEachValueByItsTypeCode) {
  auto table = std::make_unique<ParvexTempTable>();
  const ParvexValue values[] = {
      ParvexValue::Integer(-7),
      ParvexValue::Boolean(true),
      ParvexValue::Double(2.5),
      ParvexValue::String("it's"),
      ParvexValue::Text(kTypeDate, "2001-02-03"),
      ParvexValue::Text(kTypeTime, "09:04:03"),
      ParvexValue::Text(kTypeTimestamp, "2007-03-05 09:04:03"),
      ParvexValue::Text(kTypeBinary, string("\x00\x01", 2, kEncodingDefault)),
      ParvexValue::Null(kTypeString),
      ParvexValue::Text(6, "odd"),  // a type code the host has no reading for
  };
  ParvexValueList row;
  long column = 0;
  for (const ParvexValue& v : values) {
    table->AddColumn(string("c") + std::to_string(column), v.Type());
    row.push_back(new ParvexValueWithID(v, column++));
  }
  table->AddRow(row, true, nullptr);
  ParvexCursor cursor(nullptr, std::move(table), SimpleVector<string>(), SimpleVector<string>(),
                      SimpleVector<long>());

  auto read = [&](long c, KORAColumnValue* value) {
    string error;
    EXPECT_TRUE(cursor.ColumnValue(c, value, &error)) << c;
    EXPECT_TRUE(error.empty());
  };
  auto text = [](const KORAColumnValue& value) {
    return std::string(value.text.bytes, static_cast<size_t>(value.text.length));
  };
  KORAColumnValue v{};
  read(0, &v);
  EXPECT_EQ(v.type, KORA_FIELD_INTEGER);
  EXPECT_EQ(v.integer, -7);
  read(1, &v);
  EXPECT_EQ(v.type, KORA_FIELD_BOOLEAN);
  EXPECT_EQ(v.integer, 1);
  read(2, &v);
  EXPECT_EQ(v.type, KORA_FIELD_DOUBLE);
  EXPECT_EQ(v.number, 2.5);
  read(3, &v);
  EXPECT_EQ(v.type, KORA_FIELD_STRING);
  EXPECT_EQ(text(v), "it's");
  read(4, &v);
  EXPECT_EQ(v.type, KORA_FIELD_DATE);
  EXPECT_EQ(text(v), "2001-02-03");  // the bare text, no keyword
  read(5, &v);
  EXPECT_EQ(v.type, KORA_FIELD_TIME);
  EXPECT_EQ(text(v), "09:04:03");
  read(6, &v);
  EXPECT_EQ(v.type, KORA_FIELD_TIMESTAMP);
  EXPECT_EQ(text(v), "2007-03-05 09:04:03");
  read(7, &v);
  EXPECT_EQ(v.type, KORA_FIELD_BINARY);
  EXPECT_EQ(text(v), std::string("\x00\x01", 2));
  read(8, &v);
  EXPECT_TRUE(v.isNull);
  EXPECT_EQ(v.type, KORA_FIELD_STRING);  // a NULL still tells its column's type
  EXPECT_EQ(v.text.length, 0);

  string error;
  EXPECT_FALSE(cursor.ColumnValue(9, &v, &error));
  EXPECT_EQ(error.str(), "ParvexCursorColumnValue: Not yet able to handle fieldType 6");
}

}  // namespace
}  // namespace parvex::kora
