// ParvexRecoverDatabase: copies what can still be read of a damaged
// database into a new one.
//
// The damaged file is only read (opened read-only, with a shared lock, as
// last committed) and surveyed block by
// block (volume/volume_scan.h), so files whose block chains are broken are
// still read in sequence order, and items are found by their headers even
// when the root folder's list is damaged. The schema's rows name the tables
// and their columns (IDs, names, types, defaults); every live record of a
// table that can be read becomes a row of the new table with its row ID
// (records walked past damage, see storage/record_walker.h; of two live
// records of one row the later wins); then every index whose file still
// names its columns is created again over the copied rows. The new database
// must not exist yet (or be an empty file): recovery never writes over a
// database.
//
// The report says, one line per table and per thing skipped, what was
// copied and what was not: damaged stretches of a data file, rows the
// row-position map lists that were not found, tables without a readable data
// file, indexes whose file can't be read, schema rows that name no table or
// column, files that belong to no table.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "core/status.h"
#include "platform/file_system.h"
#include "platform/parvex_string.h"

namespace parvex {

struct RecoverReport {
  std::vector<std::string> lines;
  size_t tables = 0;
  size_t indexes = 0;
  size_t rows = 0;
  size_t skipped = 0;  // things not copied (each has a line)

  bool Complete() const { return skipped == 0; }
  // "recovered: ..." with the counts.
  std::string Summary(const std::string& target) const;
};

// True when the new database was written (whatever had to be skipped);
// false, with the status set, when recovery could not run: the damaged file
// can't be opened or read, is not a database, its schema can't be read at
// all, or the new file exists or can't be created.
// A null file system is the operating system's.
bool ParvexRecoverDatabase(const string& from, const string& to, RecoverReport* report, ParvexStatus* status,
                           ParvexFileSystem* fileSystem = nullptr);

}  // namespace parvex
