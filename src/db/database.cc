// ParvexDatabase: construction, destruction, the clock texts and table lookup.
//
// The database owns the file access and creates the schema table over it;
// the transaction boundary (Commit, Rollback, TransactionInProgress) and the
// schema data exchange are in database_transaction.cc.
#include "db/database.h"

#include "db/schema.h"
#include "platform/clock.h"
#include "platform/number_format.h"
#include "storage/file_access.h"

namespace parvex {

ParvexDatabase::ParvexDatabase(ParvexFileAccess* access) : fileAccess(access) {
  // Without a file access there are no data files and therefore no tables.
  if (fileAccess) tables.push_back(new ParvexSchema(fileAccess));
}

ParvexDatabase::~ParvexDatabase() {
  // Nothing is committed here: what the tables write as they go is rolled
  // back with everything else written since the last commit, when the file
  // access closes the host file.
  if (fileAccess) fileAccess->DiscardWrites();
  // Tables go from the last to the first: user tables may still refer to the
  // schema (entry 0) while they are torn down.
  for (size_t i = tables.size(); i > 0; --i) delete tables[i - 1];
  tables.clear();
  DeleteAll(droppedTables);
  // The tables' streams are gone; the volume closes with the file access.
  delete fileAccess;
}

namespace {

// Two digits with a leading "0" below 10; larger values print in full.
std::string TwoDigits(int value) {
  std::string text = FormatInteger(value);
  if (value >= 0 && value < 10) text.insert(text.begin(), '0');
  return text;
}

}  // namespace

void ParvexDatabase::SetClock(int year, int month, int day, int hour, int minute, int second) {
  mClockParts = {year, month, day, hour, minute, second};
  const std::string date = FormatInteger(year) + "-" + TwoDigits(month) + "-" + TwoDigits(day);
  const std::string time = TwoDigits(hour) + ":" + TwoDigits(minute) + ":" + TwoDigits(second);
  currentDate = string(date);
  currentTime = string(time);
  currentTimestamp = string(date + " " + time);
}

void ParvexDatabase::UpdateClock() {
  LocalDateTime now;
  if (!GetLocalDateTime(&now)) return;  // the texts keep their last values
  // Statements refresh the clock many times a second; the texts change once
  // a second and are made only then.
  if (mClockParts == std::array<int, 6>{now.year, now.month, now.day, now.hour, now.minute, now.second}) return;
  SetClock(now.year, now.month, now.day, now.hour, now.minute, now.second);
}

ParvexTable* ParvexDatabase::FindTable(const string& tableName) const {
  for (ParvexTable* table : tables) {
    if (table && table->name.Compare(tableName) == 0) return table;
  }
  return nullptr;
}

}  // namespace parvex
