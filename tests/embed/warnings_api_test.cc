// Warnings through the public interface: counted, read by index, kept until
// the next call, and none for a statement that means what it says or does
// not parse.
#include <parvex/parvex.h>
#include <parvex/parvex.hpp>

#include <gtest/gtest.h>

#include <string>

#include "harness/files.h"

namespace parvex {
namespace {

TEST(WarningsApiTest, ListsTrapsOfAStatementWithoutRunningIt) {
  TempFolder folder;
  Database db;
  ASSERT_TRUE(db.Open(folder.File("w.pvx"), PARVEX_OPEN_CREATE));
  ASSERT_TRUE(db.Exec("CREATE TABLE t (id Integer, price Double)"));
  ASSERT_TRUE(db.Exec("INSERT INTO t VALUES (1, 9.5)"));
  ASSERT_TRUE(db.Commit());
  parvex_db* handle = db.handle();

  ASSERT_EQ(parvex_warnings(handle, "DELETE FROM t WHERE NOT price > 2.5"), 2);
  EXPECT_STREQ(parvex_warnings_sql(handle), "DELETE FROM t WHERE (price>2.5)");
  EXPECT_EQ(parvex_warning_kind(handle, 0), PARVEX_WARNING_DOUBLE_COMPARISON);
  EXPECT_EQ(parvex_warning_kind(handle, 1), PARVEX_WARNING_DROPPED_NOT);
  EXPECT_STREQ(parvex_warning_hint(handle, 1), "write the opposite condition: (price<=2.5)");
  EXPECT_EQ(parvex_warning_message(handle, 2), nullptr);
  EXPECT_EQ(parvex_warning_kind(handle, -1), 0);
  EXPECT_STREQ(parvex_sqlstate(handle), "00000");

  const std::vector<Warning> warnings = db.Warnings("SELECT price * 2 FROM t LIMIT 1");
  ASSERT_EQ(warnings.size(), 2u);
  EXPECT_EQ(warnings[0].kind, PARVEX_WARNING_UNREAD_TEXT);
  EXPECT_EQ(warnings[1].kind, PARVEX_WARNING_ARITHMETIC);
  EXPECT_EQ(warnings[1].message.rfind("(price*2) is price unchanged", 0), 0u) << warnings[1].message;

  EXPECT_EQ(parvex_warnings(handle, "SELECT id * 2 AS twice FROM t WHERE id <> 3 ORDER BY twice"), 0);
  EXPECT_EQ(parvex_warnings(handle, "SELECT id FROM t WHERE id IN (1, 2)"), 0);
  EXPECT_STREQ(parvex_warnings_sql(handle), "");
  EXPECT_EQ(parvex_warnings(nullptr, "SELECT 1"), -1);
  // Nothing ran: the row the DELETE would remove is there, and nothing is pending.
  EXPECT_FALSE(db.InTransaction());
  Statement count = db.Prepare("SELECT COUNT(*) FROM t");
  ASSERT_TRUE(count.Step());
  EXPECT_EQ(count.Int(0), 1);
}

}  // namespace
}  // namespace parvex
