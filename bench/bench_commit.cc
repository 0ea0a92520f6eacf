// The cost of safe commits, beside SQLite (its C API, default rollback-journal
// mode, synchronous FULL) on the same disk: a one-row autocommit INSERT, and
// a transaction of 100,000 INSERT statements into a table that already holds
// rows. The transaction runs four ways: synced or not (noSync), each with the
// rollback journal or with the journal disabled (a file system that drops
// whatever is written to a "-journal" file and syncs it for free), so the
// journal's own cost shows apart from the cost of syncing. The files live in
// ./bench-commit-files (the folder the benchmark runs in), which is removed
// at the end.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>

#include "db/database.h"
#include "platform/file_system.h"
#include "sql/execute.h"

namespace parvex {
namespace {

constexpr int kBulkRows = 100000;
constexpr int kExistingRows = 1000;

const std::filesystem::path& Folder() {
  static const std::filesystem::path folder = [] {
    auto path = std::filesystem::current_path() / "bench-commit-files";
    std::filesystem::remove_all(path);
    std::filesystem::create_directories(path);
    return path;
  }();
  return folder;
}

std::string FreshPath(const char* name) {
  const std::string path = (Folder() / name).string();
  for (const char* suffix : {"", "-journal"}) std::filesystem::remove(path + suffix);
  return path;
}

std::string InsertText(int i) {
  return "INSERT INTO t VALUES (" + std::to_string(i) + ", 'row number " + std::to_string(i) + "')";
}

// A journal file that keeps nothing and syncs at once.
class DiscardingFile final : public ParvexHostFile {
 public:
  int Read(int64_t, void*, size_t, size_t* got) override {
    *got = 0;
    return 0;
  }
  int Write(int64_t, const void*, size_t) override { return 0; }
  int Truncate(int64_t) override { return 0; }
  int GetSize(int64_t* length) override {
    *length = 0;
    return 0;
  }
  int Sync() override { return 0; }
  int Lock(HostLockKind) override { return 0; }
  int Unlock() override { return 0; }
};

// The operating system's file system, except that journals are discarded.
class JournalDisabled final : public ParvexFileSystem {
 public:
  int Open(const std::string& path, OpenMode mode, std::unique_ptr<ParvexHostFile>* file) override {
    if (!IsJournal(path)) return OperatingSystemFileSystem().Open(path, mode, file);
    if (mode != OpenMode::kReadWriteCreate) return ENOENT;
    *file = std::make_unique<DiscardingFile>();
    return 0;
  }
  int Delete(const std::string& path) override {
    return IsJournal(path) ? 0 : OperatingSystemFileSystem().Delete(path);
  }
  int SyncFolder(const std::string&) override { return 0; }

 private:
  static bool IsJournal(const std::string& path) { return path.ends_with("-journal"); }
};

std::unique_ptr<ParvexDatabase> OpenParvex(const std::string& path, bool noSync, int rows,
                                           bool journal = true) {
  static JournalDisabled journalDisabled;
  ParvexOpenOptions options;
  options.create = true;
  options.noSync = noSync;
  if (!journal) options.fileSystem = &journalDisabled;
  ParvexStatus status;
  std::unique_ptr<ParvexDatabase> db(ParvexOpenDatabase(string(path), options, &status));
  if (!db) return nullptr;
  ParvexSQLExecute(string("CREATE TABLE t (a Integer, b String)"), *db, &status);
  for (int i = 0; i < rows; ++i) ParvexSQLExecute(string(InsertText(i)), *db, &status);
  db->Commit(&status);
  return IsErrorState(status.State()) ? nullptr : std::move(db);
}

sqlite3* OpenSqlite(const std::string& path, int rows) {
  sqlite3* db = nullptr;
  if (sqlite3_open(path.c_str(), &db) != SQLITE_OK) return nullptr;
  sqlite3_exec(db, "CREATE TABLE t (a INTEGER, b TEXT)", nullptr, nullptr, nullptr);
  sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
  for (int i = 0; i < rows; ++i) sqlite3_exec(db, InsertText(i).c_str(), nullptr, nullptr, nullptr);
  sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
  return db;
}

// One row, one synced commit per iteration.
void BM_ParvexAutocommitInsert(benchmark::State& state) {
  auto db = OpenParvex(FreshPath("auto.pvx"), false, kExistingRows);
  if (!db) return state.SkipWithError("open failed");
  int i = kExistingRows;
  ParvexStatus status;
  for (auto _ : state) {
    ParvexSQLExecute(string(InsertText(i++)), *db, &status);
    db->Commit(&status);
    if (IsErrorState(status.State())) return state.SkipWithError("commit failed");
  }
}
BENCHMARK(BM_ParvexAutocommitInsert)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_SqliteAutocommitInsert(benchmark::State& state) {
  sqlite3* db = OpenSqlite(FreshPath("auto.sqlite"), kExistingRows);
  if (!db) return state.SkipWithError("open failed");
  int i = kExistingRows;
  for (auto _ : state) {
    if (sqlite3_exec(db, InsertText(i++).c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
      state.SkipWithError("insert failed");
      break;
    }
  }
  sqlite3_close(db);
}
BENCHMARK(BM_SqliteAutocommitInsert)->Unit(benchmark::kMillisecond)->UseRealTime();

// 100,000 INSERT statements and one commit. Arguments: syncing off (1) or
// on (0); the journal on (1) or disabled (0).
void BM_ParvexTransaction(benchmark::State& state) {
  const bool noSync = state.range(0) == 1;
  const bool journal = state.range(1) == 1;
  const std::string path = FreshPath("bulk.pvx");
  for (auto _ : state) {
    state.PauseTiming();
    auto db = OpenParvex(FreshPath("bulk.pvx"), noSync, kExistingRows, journal);
    if (!db) return state.SkipWithError("open failed");
    ParvexStatus status;
    state.ResumeTiming();
    for (int i = kExistingRows; i < kExistingRows + kBulkRows; ++i) {
      ParvexSQLExecute(string(InsertText(i)), *db, &status);
    }
    db->Commit(&status);
    state.PauseTiming();
    if (IsErrorState(status.State())) return state.SkipWithError("commit failed");
    // The journal stays (cleared) while the database is open: its length is
    // what the transaction wrote to it.
    std::error_code error;
    const auto journalBytes = std::filesystem::file_size(path + "-journal", error);
    state.counters["journal_KiB"] = error ? 0.0 : static_cast<double>(journalBytes) / 1024;
    state.counters["file_KiB"] = static_cast<double>(std::filesystem::file_size(path)) / 1024;
    db.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kBulkRows);
}
BENCHMARK(BM_ParvexTransaction)
    ->ArgNames({"noSync", "journal"})
    ->Args({0, 1})
    ->Args({0, 0})
    ->Args({1, 1})
    ->Args({1, 0})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(5);

void BM_SqliteTransaction(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    sqlite3* db = OpenSqlite(FreshPath("bulk.sqlite"), kExistingRows);
    if (!db) return state.SkipWithError("open failed");
    state.ResumeTiming();
    sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    for (int i = kExistingRows; i < kExistingRows + kBulkRows; ++i) {
      sqlite3_exec(db, InsertText(i).c_str(), nullptr, nullptr, nullptr);
    }
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    state.PauseTiming();
    sqlite3_close(db);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * kBulkRows);
}
BENCHMARK(BM_SqliteTransaction)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

}  // namespace
}  // namespace parvex

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::filesystem::remove_all(parvex::Folder());
  return 0;
}
