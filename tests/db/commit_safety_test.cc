// Commits cut short: a transaction over several tables (inserts, updates
// that move rows, deletes, CREATE and DROP INDEX, DROP and CREATE TABLE) is
// committed through a file system that crashes, loses power or fails one
// write or sync, at every write and sync point in turn. Afterwards the
// database holds exactly the old or the new state (every table's rows, every
// index's entries, the schema and the volume's files), read-only and
// read-write opens agree, a failed commit says so and leaves the file byte
// for byte as it was, and running the transaction again succeeds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

#include "db/database.h"
#include "db/integrity_check.h"
#include "platform/fault_injection.h"
#include "platform/memory_file_system.h"
#include "harness/engine.h"
#include "storage/file_access.h"
#include "storage/index.h"
#include "storage/trans.h"

namespace parvex {
namespace {

constexpr char kPath[] = "/db/safety.pvx";

std::unique_ptr<ParvexDatabase> OpenOn(ParvexFileSystem* fileSystem, bool readOnly, ParvexStatus* status) {
  ParvexOpenOptions options;
  options.create = true;
  options.readOnly = readOnly;
  options.fileSystem = fileSystem;
  options.cachePages = 8;  // pages spill to the file before the commit
  return std::unique_ptr<ParvexDatabase>(ParvexOpenDatabase(string(kPath), options, status));
}

void RunAll(ParvexDatabase& db, const std::vector<std::string>& statements) {
  for (const std::string& sql : statements) {
    ParvexStatus status;
    ParvexSQLExecute(string(sql), db, &status);
  }
}

std::vector<std::string> OldState() {
  std::vector<std::string> sql = {
      "CREATE TABLE a (id Integer, name String, n Integer)", "CREATE INDEX a_name ON a (name)",
      "CREATE INDEX a_n ON a (n)",        "CREATE TABLE b (x Integer, t String)",
      "CREATE INDEX b_x ON b (x)",        "CREATE TABLE c (k Integer)",
      "CREATE INDEX c_k ON c (k)"};
  for (int i = 0; i < 30; ++i) {
    const std::string n = std::to_string(i);
    sql.push_back("INSERT INTO a VALUES (" + n + ", 'name " + n + "', " + std::to_string(i % 7) + ")");
    sql.push_back("INSERT INTO b VALUES (" + n + ", 'text " + n + "')");
    sql.push_back("INSERT INTO c VALUES (" + n + ")");
  }
  return sql;
}

std::vector<std::string> Transaction() {
  std::vector<std::string> sql;
  for (int i = 30; i < 130; ++i) {
    const std::string n = std::to_string(i);
    sql.push_back("INSERT INTO a VALUES (" + n + ", 'new " + n + "', 1)");
    sql.push_back("INSERT INTO b VALUES (" + n + ", 'more " + n + "')");
  }
  const std::vector<std::string> rest = {
      "UPDATE a SET name = 'a name long enough to move the row to the end of its file' WHERE id < 12",
      "UPDATE a SET n = n + 100 WHERE id > 20",
      "DELETE FROM b WHERE x > 10 AND x < 25",
      "CREATE INDEX b_t ON b (t)",
      "DROP INDEX a.a_n",
      "DROP TABLE c",
      "CREATE TABLE e (z String)",
      "INSERT INTO e VALUES ('one')",
      "INSERT INTO e VALUES ('two')"};
  sql.insert(sql.end(), rest.begin(), rest.end());
  return sql;
}

// Everything the database holds, as text: each table (the schema first) with
// its columns and rows, each index with its entries, and the volume's files.
std::string Dump(ParvexDatabase& db) {
  std::string out;
  for (ParvexTable* table : db.tables) {
    out += "table " + table->name.str() + ":";
    for (long c = 0; c < table->QtyColumns(); ++c) out += " " + table->Column(c)->name.str();
    out += "\n";
    SimpleVector<RowID> ids;
    table->GetRowIDs(&ids);
    for (RowID id : ids) {
      for (long c = 0; c < table->QtyColumns(); ++c) {
        ParvexValue v;
        out += (table->GetValue(id, c, &v) ? v.GetString().str() : "?") + "|";
      }
      out += "\n";
    }
    const auto* trans = dynamic_cast<const ParvexTrans*>(table);
    SimpleVector<string> names;
    if (trans) trans->GetIndexNames(&names);
    std::vector<std::string> sorted;
    for (const string& name : names) sorted.push_back(name.str());
    std::sort(sorted.begin(), sorted.end());
    for (const std::string& name : sorted) {
      out += "index " + name + ":";
      std::vector<std::string> entries;
      trans->FindIndex(string(name))->ForEachEntry([&entries](const ParvexIndexEntry& entry) {
        std::string text = std::to_string(entry.rowID) + "=";
        for (const ParvexValue& v : entry.values) text += v.GetString().str() + ",";
        entries.push_back(text);
      });
      std::sort(entries.begin(), entries.end());
      for (const std::string& entry : entries) out += " " + entry;
      out += "\n";
    }
  }
  std::vector<string> files;
  db.fileAccess->FindFiles(string(""), &files);
  std::vector<std::string> names;
  for (const string& file : files) names.push_back(file.str());
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) out += "file " + name + "\n";
  return out;
}

// The disk as the old state left it, and the dumps of both states.
struct States {
  MemoryFileSystem oldDisk;
  std::string oldBytes;
  std::string oldDump;
  std::string newDump;
};

const States& TheStates() {
  static States* states = [] {
    auto* s = new States;
    ParvexStatus status;
    auto db = OpenOn(&s->oldDisk, false, &status);
    RunAll(*db, OldState());
    db->Commit(&status);
    s->oldDump = Dump(*db);
    db.reset();
    s->oldBytes = s->oldDisk.Contents(kPath);
    auto work = s->oldDisk.AfterProcessCrash();
    db = OpenOn(work.get(), false, &status);
    RunAll(*db, Transaction());
    db->Commit(&status);
    s->newDump = Dump(*db);
    db.reset();  // before the file system it uses
    return s;
  }();
  return *states;
}

// Opens the disk a cut left, read-only and then read-write; the state both
// see, or a description of what went wrong.
std::string StateAfter(MemoryFileSystem* disk) {
  ParvexStatus status;
  auto reader = OpenOn(disk, true, &status);
  if (!reader) return "read-only open failed: " + status.Description().str();
  const std::string seen = Dump(*reader);
  reader.reset();
  auto writer = OpenOn(disk, false, &status);
  if (!writer) return "read-write open failed: " + status.Description().str();
  const std::string recovered = Dump(*writer);
  if (recovered != seen) return "the read-only open saw another state than the read-write one";
  writer.reset();
  // The recovered file passes the integrity check.
  CheckReport report;
  if (!ParvexCheckDatabase(string(kPath), &report, &status, disk)) {
    return "the check could not run: " + status.Description().str();
  }
  if (!report.Clean()) return "the check found damage: " + report.problems.front();
  // Opened again after the recovery: the same, and new writes commit.
  writer = OpenOn(disk, false, &status);
  if (!writer || Dump(*writer) != recovered) return "a second open disagrees";
  if (Exec(*writer, "CREATE TABLE later (q Integer)") != "[00000] Success") return "no new table";
  writer->Commit(&status);
  if (IsErrorState(status.State())) return "a new commit failed: " + status.Description().str();
  return recovered;
}

enum class Cut { kCrash, kPowerLoss, kIOError, kDiskFull };

TEST(CommitSafetyTest, EveryWriteAndSyncOfACommitLeavesTheOldOrTheNewState) {
  const States& states = TheStates();
  ASSERT_NE(states.oldDump, states.newDump);

  // How many writes and syncs the transaction makes, start to commit.
  auto disk = states.oldDisk.AfterProcessCrash();
  FaultInjectingFileSystem counter(disk.get());
  ParvexStatus status;
  auto db = OpenOn(&counter, false, &status);
  const uint64_t before = counter.Count(FaultInjectingFileSystem::kWriteOrSync);
  RunAll(*db, Transaction());
  db->Commit(&status);
  const uint64_t points = counter.Count(FaultInjectingFileSystem::kWriteOrSync) - before;
  db.reset();
  ASSERT_GT(points, 10u);

  const Cut cuts[] = {Cut::kCrash, Cut::kPowerLoss, Cut::kIOError, Cut::kDiskFull};
  int oldSeen = 0, newSeen = 0;
  for (uint64_t point = 1; point <= points; ++point) {
    for (Cut cut : cuts) {
      SCOPED_TRACE("point " + std::to_string(point) + " of " + std::to_string(points) + ", cut " +
                   std::to_string(static_cast<int>(cut)));
      disk = states.oldDisk.AfterProcessCrash();
      FaultInjectingFileSystem faults(disk.get());
      db = OpenOn(&faults, false, &status);
      ASSERT_NE(db, nullptr);
      db->Commit(&status);
      ASSERT_EQ(faults.Count(FaultInjectingFileSystem::kWriteOrSync), 0u);  // nor did a commit of nothing
      if (cut == Cut::kCrash || cut == Cut::kPowerLoss) {
        faults.CrashAt(point);
      } else {
        faults.FailAt(FaultInjectingFileSystem::kWriteOrSync, point, cut == Cut::kIOError ? EIO : ENOSPC, false);
      }
      RunAll(*db, Transaction());
      ParvexStatus commit;
      db->Commit(&commit);

      if (cut == Cut::kCrash || cut == Cut::kPowerLoss) {
        db.reset();  // everything after the crash point is lost
        auto after = cut == Cut::kCrash ? disk->AfterProcessCrash() : disk->AfterPowerLoss(point);
        const std::string state = StateAfter(after.get());
        ASSERT_TRUE(state == states.oldDump || state == states.newDump) << state;
        (state == states.oldDump ? oldSeen : newSeen)++;
        continue;
      }
      // A failed write or sync: a status naming it, the file as it was.
      ASSERT_TRUE(IsErrorState(commit.State()));
      EXPECT_EQ(commit.State(), cut == Cut::kIOError ? kPXIOError : kPXDiskFull);
      EXPECT_NE(commit.Description().view().find("while committing: "), std::string_view::npos);
      EXPECT_NE(commit.Description().view().find("nothing was committed."), std::string_view::npos);
      ASSERT_EQ(disk->Contents(kPath), states.oldBytes);
      ASSERT_EQ(Dump(*db), states.oldDump);
      // The same database object runs the transaction again, and it holds.
      RunAll(*db, Transaction());
      db->Commit(&commit);
      ASSERT_FALSE(IsErrorState(commit.State())) << commit.Description().view();
      ASSERT_EQ(Dump(*db), states.newDump);
      db.reset();
      auto after = disk->AfterPowerLoss(point);
      ASSERT_EQ(StateAfter(after.get()), states.newDump);
    }
  }
  // Cuts before the commit point keep the old state, after it the new one.
  EXPECT_GT(oldSeen, 0);
  EXPECT_GT(newSeen, 0);
}

TEST(CommitSafetyTest, AFullDiskFailsTheCommitWithAStatusAndARetrySucceeds) {
  const States& states = TheStates();
  auto disk = states.oldDisk.AfterProcessCrash();
  disk->SetCapacity(static_cast<int64_t>(states.oldBytes.size()) + 4096);
  ParvexStatus status;
  auto db = OpenOn(disk.get(), false, &status);
  RunAll(*db, Transaction());
  db->Commit(&status);
  EXPECT_EQ(status.State(), kPXDiskFull);
  EXPECT_EQ(status.Description().view().substr(0, 35), "Error: Disk full while committing: ");
  EXPECT_EQ(disk->Contents(kPath), states.oldBytes);
  EXPECT_FALSE(db->TransactionInProgress());
  EXPECT_EQ(Dump(*db), states.oldDump);

  disk->SetCapacity(0);
  RunAll(*db, Transaction());
  db->Commit(&status);
  EXPECT_EQ(status.State(), kPXStateSuccess) << status.Description().view();
  EXPECT_EQ(Dump(*db), states.newDump);
}

// The disk fails for good in the middle of writing the file: the commit
// fails and so does the restore. The database then refuses work, saying why,
// until the disk recovers; the next statement restores the file.
TEST(CommitSafetyTest, AFileThatCantBeRestoredIsRestoredOnceTheDiskRecovers) {
  const States& states = TheStates();
  auto disk = states.oldDisk.AfterProcessCrash();
  FaultInjectingFileSystem faults(disk.get());
  ParvexStatus status;
  auto db = OpenOn(&faults, false, &status);
  RunAll(*db, Transaction());
  // From the sixth write or sync on (the journal is created, written and
  // synced, its folder synced, the file has received pages), every one fails.
  faults.FailAt(FaultInjectingFileSystem::kWriteOrSync, 6, EIO, true);
  db->Commit(&status);
  EXPECT_EQ(status.State(), kPXIOError);
  EXPECT_NE(status.Description().view().find("nothing was committed, but the file is not restored yet"),
            std::string_view::npos)
      << status.Description().view();
  EXPECT_EQ(Rows(*db, "SELECT k FROM c", &status), std::vector<std::string>{"(null)"});
  EXPECT_EQ(status.Description().view().substr(0, 39), "Error: I/O error while rolling back: re");

  faults.ClearFaults();
  EXPECT_EQ(Rows(*db, "SELECT COUNT(*) FROM c"), std::vector<std::string>{"30"});
  EXPECT_EQ(disk->Contents(kPath), states.oldBytes);
  EXPECT_EQ(Dump(*db), states.oldDump);
  RunAll(*db, Transaction());
  db->Commit(&status);
  EXPECT_EQ(status.State(), kPXStateSuccess) << status.Description().view();
  EXPECT_EQ(Dump(*db), states.newDump);
}

}  // namespace
}  // namespace parvex
