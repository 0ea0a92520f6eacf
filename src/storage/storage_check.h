// The record-file part of an integrity check: a table's data file, its
// row-position map and its index files, read without writing anything.
//
// - Data file: the records tile the file from offset 256 to its end, every
//   header is valid, every live record decodes, no row has two live records
//   (unless the map is "Drty": an interrupted move leaves two until the map
//   is rebuilt), and the row-ID counter in the metadata area (when not 0)
//   covers every row ID.
// - Map: it parses ("RMap", a count that fits, "MEnd"), lists every live row
//   once at its record, and nothing else but rows whose record at that place
//   is a deleted copy of the same row (a deleted row, as other programs of
//   the format leave it) while the row has no live record. A "Drty" map is a
//   note, not a problem: the engine rebuilds it.
// - Indexes: each index file walks like a data file, its first record names
//   the columns, it holds one entry per live row of the table (besides the
//   placeholder of row kInvalidRowID) and each entry's values are the row's
//   values of those columns (same type, same bytes, same text encoding).
// Problems go to the report prefixed with the given label ("table T").
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "core/check_report.h"
#include "core/table.h"
#include "platform/random_access.h"
#include "platform/simple_vector.h"

namespace parvex {

struct DataFileSurvey {
  // Records with a valid header: position -> row ID and whether it is live.
  std::unordered_map<uint32_t, std::pair<RowID, bool>> records;
  // Live rows: row ID -> the position of its (last) live record.
  std::unordered_map<RowID, uint32_t> live;
  // Live rows in the order of their records.
  std::vector<RowID> order;
};

struct IndexSurvey {
  std::string fileName;
  bool readable = false;  // the file walked and named its columns
  SimpleVector<uint32_t> columnIDs;
  std::unordered_map<RowID, std::vector<ParvexValue>> entries;  // values in column order
  size_t matched = 0;   // entries found equal to their row
  size_t problems = 0;  // for capping the lines of one index
};

// Walks an index file into `survey`, reporting its damage.
void SurveyIndexFile(std::unique_ptr<RandomAccessMechanism> stream, const std::string& label, CheckReport* report,
                     IndexSurvey* survey);

// Walks a data file into `survey`, reporting its damage, and compares each
// live row with the entries of `indexes`; then reports the entries that no
// live row had. `mapDirty` tells whether two live records of a row are the
// trace of an interrupted move.
void CheckDataFile(std::unique_ptr<RandomAccessMechanism> stream, const std::string& label,
                   const std::string& fileName, bool mapDirty, std::vector<IndexSurvey>& indexes,
                   CheckReport* report, DataFileSurvey* survey);

// Reads the state word of a map file: true for "Drty".
bool IsMapFileDirty(RandomAccessMechanism& stream);

// Checks a map file against the survey of its data file.
void CheckRowPosMapFile(RandomAccessMechanism& stream, const std::string& label, const std::string& mapName,
                        const DataFileSurvey& survey, CheckReport* report);

}  // namespace parvex
