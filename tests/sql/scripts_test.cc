// The engine SQL scripts of tests/sql/scripts, one test each (the format is
// described in tests/harness/sql_script.h and in the README). Every script
// runs under both query executors: they must give the same answers.
#include "db/database.h"
#include "harness/script_test.h"
#include "harness/sql_script.h"

namespace {

void RunUnderBothExecutors(const std::filesystem::path& script) {
  for (const parvex::QueryExecutor executor : {parvex::QueryExecutor::kFast, parvex::QueryExecutor::kReference}) {
    SCOPED_TRACE(executor == parvex::QueryExecutor::kFast ? "fast executor" : "reference executor");
    ::parvex::testing::RunSqlScript(script, [executor](parvex::ParvexDatabase& db) { db.queryExecutor = executor; });
  }
}

PARVEX_SCRIPT_TESTS(SqlScriptTest, "tests/sql/scripts", ".sql", RunUnderBothExecutors);

}  // namespace
