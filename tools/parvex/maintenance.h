// The shell's file maintenance: `parvex --check FILE`, `.check` and
// `parvex --recover FILE NEWFILE`.
//
// A check prints one line per problem, then "note: ..." lines, then the
// summary ("ok: ..." or "damaged: ..."), on standard output; the exit code
// is 0 for a clean file, 1 for a damaged one and 2 when the file could not be
// checked at all (the reason goes to standard error). Recovery prints one
// line per table and per thing it could not copy, then its summary; it exits
// with 0 when everything was copied, 1 when something was skipped and 2 when
// it could not run.
#pragma once

#include <ostream>
#include <string>

#include "parvex/parvex.h"

namespace parvex::shell {

constexpr int kExitClean = 0;
constexpr int kExitDamaged = 1;
constexpr int kExitCannotRun = 2;

// Checks the file at `path`, never writing to it.
int RunCheck(const std::string& path, std::ostream& out, std::ostream& err);
// Checks the open database (which must have no transaction in progress); the
// summary names it as it was opened.
int RunCheck(parvex_db* db, std::ostream& out, std::ostream& err);
int RunRecover(const std::string& from, const std::string& to, std::ostream& out, std::ostream& err);

}  // namespace parvex::shell
