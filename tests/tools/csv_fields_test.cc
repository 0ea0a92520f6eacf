// CSV text as typed values and as column names for .import.
#include "csv_fields.h"

#include <gtest/gtest.h>

namespace parvex::shell {
namespace {

TEST(CsvFieldsTest, FieldsAreCheckedAndTyped) {
  struct Case {
    const char* text;
    bool quoted;
    ParvexDataType type;
    const char* problem;  // empty when the field converts
    const char* saved;    // GetSaveString of the value; null for a NULL value
  };
  for (const Case& c : {
           Case{" -42 ", false, kTypeInteger, "", "-42"},
           Case{"+7", false, kTypeInteger, "", "7"},
           Case{"2147483648", false, kTypeInteger, "'2147483648' is not an integer (-2147483648 to 2147483647)", ""},
           Case{"12abc", false, kTypeInteger, "'12abc' is not an integer (-2147483648 to 2147483647)", ""},
           Case{"1,5", false, kTypeDouble, "'1,5' is not a number", ""},
           Case{"Yes", false, kTypeBoolean, "", "TRUE"},
           Case{"F", false, kTypeBoolean, "", "FALSE"},
           Case{"maybe", false, kTypeBoolean, "'maybe' is not a boolean (true or false)", ""},
           // Empty and unquoted is NULL of the column's type; quoted and empty is text.
           Case{"", false, kTypeInteger, "", nullptr},
           Case{"", true, kTypeString, "", ""},
           Case{" keep blanks ", false, kTypeString, "", " keep blanks "},
           Case{"2001-02-03", false, kTypeDate, "", "2001-02-03"},
       }) {
    ParvexValue v;
    std::string problem;
    EXPECT_EQ(ConvertCsvField(CsvField{c.text, c.quoted}, c.type, &v, &problem), *c.problem == 0) << c.text;
    EXPECT_EQ(problem, c.problem) << c.text;
    if (*c.problem) continue;
    EXPECT_EQ(v.Type(), c.type) << c.text;
    EXPECT_EQ(v.IsNull(), c.saved == nullptr) << c.text;
    if (c.saved) {
      EXPECT_EQ(v.GetSaveString().view(), c.saved) << c.text;
    }
  }
  ParvexValue v;
  std::string problem;
  ASSERT_TRUE(ConvertCsvField(CsvField{"-1.5e3", false}, kTypeDouble, &v, &problem));
  EXPECT_EQ(v.GetDouble(), -1500.0);
  ASSERT_TRUE(ConvertCsvField(CsvField{"x", false}, kTypeString, &v, &problem));
  EXPECT_EQ(v.GetSaveString().Encoding(), kEncodingUTF8);
}

TEST(CsvFieldsTest, HeaderNamesBecomePlainUniqueWords) {
  EXPECT_EQ(ColumnNamesFromHeader({"id", "first name", "2nd", "", "ID", "e-mail", "id_2"}),
            (std::vector<std::string>{"id", "first_name", "_2nd", "column4", "ID_2", "e_mail", "id_2_2"}));
}

}  // namespace
}  // namespace parvex::shell
