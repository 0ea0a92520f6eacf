// RFC 4180 quoting on output and record reading for .import.
#include "csv.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace parvex::shell {
namespace {

std::string Quoted(std::string_view field) {
  std::string out;
  AppendCsvField(field, &out);
  return out;
}

TEST(CsvTest, FieldsAreQuotedOnlyWhenTheyMustBe) {
  for (const auto& [field, quoted] : std::vector<std::pair<std::string, std::string>>{
           {"plain text", "plain text"}, {"", ""}, {"a,b", "\"a,b\""}, {"say \"hi\"", "\"say \"\"hi\"\"\""},
           {"two\nlines", "\"two\nlines\""}, {"cr\r", "\"cr\r\""}}) {
    EXPECT_EQ(Quoted(field), quoted) << field;
  }
}

// Reads every record; each field is shown as its text, quoted ones in [ ].
std::vector<std::vector<std::string>> ReadAll(std::string_view text, std::string* error = nullptr) {
  CsvReader reader(text);
  std::vector<std::vector<std::string>> records;
  std::vector<CsvField> fields;
  while (reader.Next(&fields)) {
    std::vector<std::string> record;
    for (const CsvField& f : fields) record.push_back(f.quoted ? "[" + f.text + "]" : f.text);
    records.push_back(record);
  }
  if (error) *error = reader.Error();
  return records;
}

using Records = std::vector<std::vector<std::string>>;

TEST(CsvTest, ReadsQuotedFieldsWithSeparatorsQuotesAndLineEnds) {
  EXPECT_EQ(ReadAll("a,b\n1,\"x, \"\"y\"\"\nz\"\n"),
            (Records{{"a", "b"}, {"1", "[x, \"y\"\nz]"}}));
  // CR LF record ends, with and without a final line end; a BOM is skipped.
  EXPECT_EQ(ReadAll("\xEF\xBB\xBFid,name\r\n1,\"A\"\r\n2,B"),
            (Records{{"id", "name"}, {"1", "[A]"}, {"2", "B"}}));
}

TEST(CsvTest, EmptyFieldsAndBlankLinesAreRecordsOfTheirOwn) {
  EXPECT_EQ(ReadAll("a,,\"\"\n\n,\n"), (Records{{"a", "", "[]"}, {""}, {"", ""}}));
  EXPECT_EQ(ReadAll("x,"), (Records{{"x", ""}}));
  EXPECT_EQ(ReadAll(""), Records{});
}

TEST(CsvTest, MalformedInputStopsWithTheLine) {
  std::string error;
  EXPECT_EQ(ReadAll("a\n\"open\nstill open", &error), (Records{{"a"}}));
  EXPECT_EQ(error, "line 2: quoted field is not closed");
  EXPECT_EQ(ReadAll("a,b\n1,\"x\ny\"z\n", &error), (Records{{"a", "b"}}));
  EXPECT_EQ(error, "line 3: unexpected text after a closing quote");
}

TEST(CsvTest, RecordLinesCountLineEndsInsideQuotes) {
  CsvReader reader("h\n\"1\n2\n3\"\nlast\n");
  std::vector<CsvField> fields;
  ASSERT_TRUE(reader.Next(&fields));
  EXPECT_EQ(reader.RecordLine(), 1u);
  ASSERT_TRUE(reader.Next(&fields));
  EXPECT_EQ(reader.RecordLine(), 2u);
  ASSERT_TRUE(reader.Next(&fields));
  EXPECT_EQ(reader.RecordLine(), 5u);
  EXPECT_FALSE(reader.Next(&fields));
  EXPECT_FALSE(reader.Failed());
}

}  // namespace
}  // namespace parvex::shell
