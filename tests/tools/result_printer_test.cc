// The output modes over a small in-memory table: what the shell-level tests
// (CSV, list, line, .mode) do not reach.
#include "result_printer.h"

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace parvex::shell {
namespace {

// A read-only table with fixed columns and rows (row IDs 10, 11, ...).
class FixedTable : public ParvexTable {
 public:
  FixedTable(std::vector<ParvexColumnInfo> columns, std::vector<std::vector<ParvexValue>> rows)
      : mColumns(std::move(columns)), mRows(std::move(rows)) {}

  long QtyColumns() const override { return static_cast<long>(mColumns.size()); }
  const ParvexColumnInfo* Column(long i) const override {
    return i >= 0 && i < QtyColumns() ? &mColumns[i] : nullptr;
  }
  long QtyRows() const override { return static_cast<long>(mRows.size()); }
  void GetRowIDs(SimpleVector<RowID>* ids) const override {
    ids->clear();
    for (size_t r = 0; r < mRows.size(); ++r) ids->push_back(static_cast<RowID>(10 + r));
  }
  bool GetValue(RowID row, long column, ParvexValue* out) const override {
    if (row < 10 || row - 10 >= mRows.size() || column < 0 || column >= QtyColumns()) return false;
    *out = mRows[row - 10][column];
    return true;
  }
  void DeleteRow(RowID) override {}

 private:
  std::vector<ParvexColumnInfo> mColumns;
  std::vector<std::vector<ParvexValue>> mRows;
};

FixedTable PeopleTable() {
  return FixedTable({{"id", kTypeInteger, 0}, {"name", kTypeString, 1}, {"score", kTypeDouble, 2},
                     {"born", kTypeDate, 3}, {"ok", kTypeBoolean, 4}},
                    {{ParvexValue::Integer(7), ParvexValue::String("Zoë, \"Z\""), ParvexValue::Double(2.5),
                      ParvexValue::Text(kTypeDate, "1990-01-02"), ParvexValue::Boolean(true)},
                     {ParvexValue::Integer(-12), ParvexValue::String("two\nlines"), ParvexValue::Null(kTypeDouble),
                      ParvexValue::Null(kTypeDate), ParvexValue::Boolean(false)}});
}

std::string Print(const ParvexTable& table, OutputMode mode, std::optional<bool> headers = std::nullopt) {
  OutputSettings settings;
  settings.mode = mode;
  settings.headers = headers;
  std::ostringstream out;
  EXPECT_TRUE(ResultPrinter(settings, out).Print(table));
  return out.str();
}

TEST(ResultPrinterTest, BoxAlignsByDisplayWidthAndRightAlignsNumbers) {
  EXPECT_EQ(Print(PeopleTable(), OutputMode::kBox),
            "┌─────┬────────────┬───────┬────────────┬───────┐\n"
            "│  id │ name       │ score │ born       │ ok    │\n"
            "├─────┼────────────┼───────┼────────────┼───────┤\n"
            "│   7 │ Zoë, \"Z\"   │   2.5 │ 1990-01-02 │ TRUE  │\n"
            "│ -12 │ two\\nlines │  NULL │ NULL       │ FALSE │\n"
            "└─────┴────────────┴───────┴────────────┴───────┘\n"
            "2 rows\n");
  // Without headers only the values decide the widths.
  EXPECT_EQ(Print(FixedTable({{"long name", kTypeString, 0}}, {{ParvexValue::String("ab")}}), OutputMode::kBox, false),
            "┌────┐\n│ ab │\n└────┘\n1 row\n");
  EXPECT_EQ(Print(FixedTable({{"漢字", kTypeString, 0}}, {{ParvexValue::String("ab")}}), OutputMode::kBox),
            "┌──────┐\n│ 漢字 │\n├──────┤\n│ ab   │\n└──────┘\n1 row\n");
}

TEST(ResultPrinterTest, JsonTypesValuesAndEscapes) {
  EXPECT_EQ(Print(PeopleTable(), OutputMode::kJson),
            "[{\"id\":7,\"name\":\"Zoë, \\\"Z\\\"\",\"score\":2.5,\"born\":\"1990-01-02\",\"ok\":true},\n"
            "{\"id\":-12,\"name\":\"two\\nlines\",\"score\":null,\"born\":null,\"ok\":false}]\n");
  EXPECT_EQ(Print(FixedTable({{"b", kTypeBinary, 0}}, {{ParvexValue::Text(kTypeBinary, string("\xff\x01", 2, kEncodingDefault))}}),
                  OutputMode::kJson),
            "[{\"b\":\"\\u00ff\\u0001\"}]\n");
  EXPECT_EQ(Print(FixedTable({{"x", kTypeString, 0}}, {}), OutputMode::kJson), "[]\n");
}

TEST(ResultPrinterTest, StopCheckEndsPrintingEarly) {
  OutputSettings settings;
  settings.mode = OutputMode::kList;
  std::ostringstream out;
  int calls = 0;
  ResultPrinter printer(settings, out, [&] { return ++calls > 1; });
  EXPECT_FALSE(printer.Print(PeopleTable()));
  EXPECT_EQ(out.str(), "7|Zoë, \"Z\"|2.5|1990-01-02|TRUE\n");
}

}  // namespace
}  // namespace parvex::shell
