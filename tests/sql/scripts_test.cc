// The engine SQL scripts of tests/sql/scripts, one test each (the format is
// described in tests/harness/sql_script.h and in the README).
#include "harness/script_test.h"
#include "harness/sql_script.h"

namespace {
PARVEX_SCRIPT_TESTS(SqlScriptTest, "tests/sql/scripts", ".sql", ::parvex::testing::RunSqlScript);
}  // namespace
