// ParvexCheckDatabase: a read-only integrity check of a database file.
//
// It checks the volume (blocks, chains, the block map, items and folders;
// volume/volume_check.h), every table the schema describes, `_schema`
// included (records, row-position map, counters, indexes;
// storage/storage_check.h), and the schema itself: every row names a table,
// a column ID (unique within its table) and a column name; every table has
// its data file; every file of the data folder belongs to a table (T.dat,
// T.map) or to one of its indexes (T.<index>.idx). Problems and notes go to
// the report, one line each; the report's Clean() is the verdict.
//
// Nothing is written: a file is opened read-only, with a shared lock (a
// writer's lock refuses the check with kPXDatabaseLocked), as last committed
// (an unfinished transaction a crash left behind is read around, not rolled
// back); an open database is read through its own host file, which holds
// exactly what was committed while no transaction is in progress. The
// result is true when the check ran (whatever it found); false, with the
// status set, when it could not run: a file that can't be opened or read, an
// open database with a transaction in progress.
#pragma once

#include "core/check_report.h"
#include "core/status.h"
#include "platform/file_system.h"
#include "platform/parvex_string.h"

namespace parvex {

class ParvexDatabase;

// A null file system is the operating system's.
bool ParvexCheckDatabase(const string& path, CheckReport* report, ParvexStatus* status,
                         ParvexFileSystem* fileSystem = nullptr);
bool ParvexCheckDatabase(ParvexDatabase& db, CheckReport* report, ParvexStatus* status);

}  // namespace parvex
