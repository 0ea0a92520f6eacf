// CSV text as typed values and as column names for .import.
#include "csv_fields.h"

#include <gtest/gtest.h>

namespace parvex::shell {
namespace {

// Converts `text` (quoted or not) to `type`; the problem text on failure.
std::string Convert(std::string text, ParvexDataType type, ParvexValue* value, bool quoted = false) {
  std::string problem;
  CsvField field{std::move(text), quoted};
  if (!ConvertCsvField(field, type, value, &problem)) return problem;
  return "";
}

TEST(CsvFieldsTest, NumbersAndBooleansAreCheckedAndTyped) {
  ParvexValue v;
  EXPECT_EQ(Convert(" -42 ", kTypeInteger, &v), "");
  EXPECT_EQ(v.Type(), kTypeInteger);
  EXPECT_EQ(v.GetInteger(), -42);
  EXPECT_EQ(Convert("+7", kTypeInteger, &v), "");
  EXPECT_EQ(v.GetInteger(), 7);
  EXPECT_EQ(Convert("2147483648", kTypeInteger, &v), "'2147483648' is not an integer (-2147483648 to 2147483647)");
  EXPECT_EQ(Convert("12abc", kTypeInteger, &v), "'12abc' is not an integer (-2147483648 to 2147483647)");
  EXPECT_EQ(Convert("-1.5e3", kTypeDouble, &v), "");
  EXPECT_EQ(v.Type(), kTypeDouble);
  EXPECT_EQ(v.GetDouble(), -1500.0);
  EXPECT_EQ(Convert("1,5", kTypeDouble, &v), "'1,5' is not a number");
  EXPECT_EQ(Convert("Yes", kTypeBoolean, &v), "");
  EXPECT_EQ(v.GetInteger(), 1);
  EXPECT_EQ(Convert("F", kTypeBoolean, &v), "");
  EXPECT_EQ(v.GetInteger(), 0);
  EXPECT_EQ(Convert("maybe", kTypeBoolean, &v), "'maybe' is not a boolean (true or false)");
}

TEST(CsvFieldsTest, EmptyUnquotedIsNullOfTheColumnTypeQuotedEmptyIsText) {
  ParvexValue v;
  EXPECT_EQ(Convert("", kTypeInteger, &v), "");
  EXPECT_TRUE(v.IsNull());
  EXPECT_EQ(v.Type(), kTypeInteger);
  EXPECT_EQ(Convert("", kTypeString, &v, true), "");
  EXPECT_FALSE(v.IsNull());
  EXPECT_EQ(v.GetSaveString().view(), "");
  EXPECT_EQ(Convert(" keep blanks ", kTypeString, &v), "");
  EXPECT_EQ(v.GetSaveString().view(), " keep blanks ");
  EXPECT_EQ(v.GetSaveString().Encoding(), kEncodingUTF8);
  EXPECT_EQ(Convert("2001-02-03", kTypeDate, &v), "");
  EXPECT_EQ(v.Type(), kTypeDate);
}

TEST(CsvFieldsTest, HeaderNamesBecomePlainUniqueWords) {
  EXPECT_EQ(ColumnNamesFromHeader({"id", "first name", "2nd", "", "ID", "e-mail", "id_2"}),
            (std::vector<std::string>{"id", "first_name", "_2nd", "column4", "ID_2", "e_mail", "id_2_2"}));
}

}  // namespace
}  // namespace parvex::shell
