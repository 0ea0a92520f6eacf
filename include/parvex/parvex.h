// Parvex for embedding programs: everything needed to open a database file,
// run SQL, read results and end transactions.
//
//   ParvexStatus status;
//   ParvexOpenOptions options;  // read-only, no-sync, lock timeout, file system...
//   options.create = true;
//   std::unique_ptr<ParvexDatabase> db(ParvexOpenDatabase("my.pvx", options, &status));
//   ParvexSQLExecute("CREATE TABLE t (a Integer, b String)", *db, &status);
//   ParvexSQLExecute("INSERT INTO t VALUES (1, 'one')", *db, &status);
//   db->Commit(&status);  // atomic and durable; on failure nothing was committed
//   std::unique_ptr<ParvexTable> rows(
//       ParvexSQLQuery("SELECT a, b FROM t", *db, &status, nullptr, nullptr, nullptr));
//
// Statements never commit by themselves: call ParvexDatabase::Commit (or run
// COMMIT) to write changes; destroying the database object discards what was
// not committed. A read-write open holds the file exclusively until the
// database object is destroyed (see ParvexOpenOptions in db/database.h). Every call reports through a ParvexStatus; a failed
// statement has an error state (IsErrorState) and a message in Description().
// Result tables number their rows from 0 (GetRowIDs) and are owned by the
// caller. The engine is single-threaded: use one database from one thread at
// a time.
//
// A statement that meets damaged files fails with kPXDataCorrupted (or
// kPXIOError when the disk refused a read), naming the table.
// ParvexCheckDatabase checks a file without writing to it and
// ParvexRecoverDatabase copies what can be read of a damaged one into a new
// file (db/integrity_check.h, db/recover.h).
#pragma once

#include "core/check_report.h"
#include "core/status.h"
#include "core/table.h"
#include "core/value.h"
#include "db/database.h"
#include "db/integrity_check.h"
#include "db/recover.h"
#include "db/temp_table.h"
#include "sql/execute.h"
