// Engine SQL scripts: statements run straight against the engine
// (ParvexSQLExecute / ParvexSQLQuery) on a new database file, each followed
// by what it must give.
//
// One item per line:
//   -- comment                 ignored, as are blank lines
//   <statement text>           may span lines; ends with a line ending in ';'
//                              (the ';' is not sent). Text whose first word
//                              is SELECT goes to ParvexSQLQuery, the rest to
//                              ParvexSQLExecute.
//   ! [SQLSTATE] message       the status the statement leaves; without it
//                              the statement must not fail (warnings and
//                              "No records found." are not failures)
//   : name1 | name2            the result's column names
//   > v1 | v2                  a result row, values as GetString gives them
//                              (NULL as NULL); a query with no '>' line must
//                              return no rows; "> (null)" means no table
//   .execute <statement>       sends the statement to ParvexSQLExecute
//   .query <statement>         sends it to ParvexSQLQuery
//   .reopen                    destroys the database object (no commit) and
//                              opens the file again
//   .transaction yes|no        whether TransactionInProgress()
//   .file <name> yes|no        whether the volume holds the file
// The expectation lines of a statement follow it directly, in the order
// '!', ':', '>'.
//
// The runner writes the script out again with what each statement actually
// gave in place of its expectation lines (and the actual answers of
// .transaction and .file); the test passes when that text is the script, and
// otherwise fails with the diff between them.
#pragma once

#include <filesystem>
#include <functional>

namespace parvex {
class ParvexDatabase;
}

namespace parvex::testing {

// Runs `script`; `prepare`, when given, is called on the database after every
// open (to choose settings a script should run under).
void RunSqlScript(const std::filesystem::path& script,
                  const std::function<void(ParvexDatabase&)>& prepare = nullptr);

}  // namespace parvex::testing
