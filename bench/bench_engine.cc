// The engine end to end, from SQL text to database files: loading rows,
// scans with LIKE, GROUP BY, ORDER BY, UPDATE, and reopening a big database
// (with the memory that opening and scanning it takes).
//
// Run: build/release/bench_engine (built by `make`).
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <string>

#include "db/database.h"
#include "sql/execute.h"

// Heap accounting: every block from operator new carries its size, so the
// benchmarks can report the bytes a step keeps and the peak it reaches
// (single-threaded, so plain counters do).
namespace {
size_t gLiveBytes = 0;
size_t gPeakBytes = 0;
constexpr size_t kHeader = 16;

void* CountedAlloc(size_t size) {
  void* block = std::malloc(size + kHeader);
  if (!block) throw std::bad_alloc();
  *static_cast<size_t*>(block) = size;
  gLiveBytes += size;
  if (gLiveBytes > gPeakBytes) gPeakBytes = gLiveBytes;
  return static_cast<char*>(block) + kHeader;
}

void CountedFree(void* p) noexcept {
  if (!p) return;
  char* block = static_cast<char*>(p) - kHeader;
  gLiveBytes -= *reinterpret_cast<size_t*>(block);
  std::free(block);
}
}  // namespace

void* operator new(size_t size) { return CountedAlloc(size); }
void* operator new[](size_t size) { return CountedAlloc(size); }
void operator delete(void* p) noexcept { CountedFree(p); }
void operator delete[](void* p) noexcept { CountedFree(p); }
void operator delete(void* p, size_t) noexcept { CountedFree(p); }
void operator delete[](void* p, size_t) noexcept { CountedFree(p); }

namespace parvex {
namespace {

namespace fs = std::filesystem;

double MB(size_t bytes) { return static_cast<double>(bytes) / (1024.0 * 1024.0); }

fs::path BenchFolder() {
  static const fs::path folder = [] {
    fs::path p = fs::temp_directory_path() / ("parvex-bench-" + std::to_string(getpid()));
    fs::create_directories(p);
    std::atexit([] { fs::remove_all(fs::temp_directory_path() / ("parvex-bench-" + std::to_string(getpid()))); });
    return p;
  }();
  return folder;
}

std::unique_ptr<ParvexDatabase> Open(const fs::path& path, bool create) {
  ParvexStatus status;
  std::unique_ptr<ParvexDatabase> db(ParvexOpenDatabase(string(path.string()), create, &status));
  if (!db) {
    std::fprintf(stderr, "open %s: %s\n", path.c_str(), std::string(status.Description().view()).c_str());
    std::abort();
  }
  return db;
}

void Run(ParvexDatabase& db, const std::string& sql) {
  ParvexStatus status;
  ParvexSQLExecute(string(sql), db, &status);
  if (IsErrorState(status.State())) {
    std::fprintf(stderr, "%s: %s\n", sql.c_str(), std::string(status.Description().view()).c_str());
    std::abort();
  }
}

long QueryRows(ParvexDatabase& db, const std::string& sql) {
  ParvexStatus status;
  std::unique_ptr<ParvexTable> result(ParvexSQLQuery(string(sql), db, &status, nullptr, nullptr, nullptr));
  if (!result) {
    std::fprintf(stderr, "%s: %s\n", sql.c_str(), std::string(status.Description().view()).c_str());
    std::abort();
  }
  return result->QtyRows();
}

// Fills table t (id, grp, n, s) with `rows` rows through SQL, committing
// every `batch` rows.
void Fill(ParvexDatabase& db, long rows, long batch) {
  Run(db, "CREATE TABLE t (id Integer, grp Integer, n Integer, s String)");
  for (long i = 0; i < rows; ++i) {
    Run(db, "INSERT INTO t VALUES (" + std::to_string(i) + ", " + std::to_string(i % 100) + ", " +
                std::to_string((i * 7919) % 100003) + ", 'row number " + std::to_string(i) + "')");
    if ((i + 1) % batch == 0) db.Commit(nullptr);
  }
  db.Commit(nullptr);
}

// A 100k-row database shared by the query benchmarks.
const fs::path& SharedDatabase() {
  static const fs::path path = [] {
    fs::path p = BenchFolder() / "shared.pvx";
    auto db = Open(p, true);
    Fill(*db, 100000, 100000);
    return p;
  }();
  return path;
}

void BM_Load100kRows(benchmark::State& state) {
  int round = 0;
  for (auto _ : state) {
    const fs::path path = BenchFolder() / ("load" + std::to_string(round++) + ".pvx");
    auto db = Open(path, true);
    Fill(*db, 100000, 100000);
    state.PauseTiming();
    db.reset();
    fs::remove(path);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * 100000);
}
BENCHMARK(BM_Load100kRows)->Unit(benchmark::kMillisecond)->Iterations(2);

void BM_ScanWithLike(benchmark::State& state) {
  auto db = Open(SharedDatabase(), false);
  long rows = 0;
  for (auto _ : state) rows = QueryRows(*db, "SELECT id, s FROM t WHERE s LIKE '%number 9_9%'");
  state.counters["result_rows"] = static_cast<double>(rows);
  state.SetItemsProcessed(state.iterations() * 100000);
}
BENCHMARK(BM_ScanWithLike)->Unit(benchmark::kMillisecond);

void BM_GroupBy(benchmark::State& state) {
  auto db = Open(SharedDatabase(), false);
  long rows = 0;
  for (auto _ : state) rows = QueryRows(*db, "SELECT grp, COUNT(*), SUM(n), MAX(s) FROM t GROUP BY grp");
  state.counters["groups"] = static_cast<double>(rows);
  state.SetItemsProcessed(state.iterations() * 100000);
}
BENCHMARK(BM_GroupBy)->Unit(benchmark::kMillisecond);

void BM_OrderBy(benchmark::State& state) {
  auto db = Open(SharedDatabase(), false);
  for (auto _ : state) QueryRows(*db, "SELECT id, n, s FROM t ORDER BY n DESC");
  state.SetItemsProcessed(state.iterations() * 100000);
}
BENCHMARK(BM_OrderBy)->Unit(benchmark::kMillisecond);

void BM_UpdateTenthThenCommit(benchmark::State& state) {
  auto db = Open(SharedDatabase(), false);
  for (auto _ : state) {
    Run(*db, "UPDATE t SET n = n + 1, s = s + '!' WHERE grp < 10");
    db->Commit(nullptr);
  }
  state.SetItemsProcessed(state.iterations() * 10000);
}
BENCHMARK(BM_UpdateTenthThenCommit)->Unit(benchmark::kMillisecond);

// A 1M-row database, built by a child process so that building it does not
// count in this process's memory figures.
const fs::path& MillionRowDatabase() {
  static const fs::path path = [] {
    fs::path p = BenchFolder() / "million.pvx";
    const pid_t child = fork();
    if (child == 0) {
      auto db = Open(p, true);
      Fill(*db, 1000000, 100000);
      db.reset();
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) std::abort();
    return p;
  }();
  return path;
}

void BM_Reopen1MRows(benchmark::State& state) {
  const fs::path& path = MillionRowDatabase();
  size_t kept = 0;
  for (auto _ : state) {
    const size_t before = gLiveBytes;
    auto db = Open(path, false);
    kept = gLiveBytes - before;
    state.PauseTiming();
    db.reset();
    state.ResumeTiming();
  }
  state.counters["heap_open_MB"] = MB(kept);
}
BENCHMARK(BM_Reopen1MRows)->Unit(benchmark::kMillisecond)->Iterations(3);

// One full scan of the 1M rows (a LIKE that matches nothing, so the result
// holds no rows): the peak is the scan's list of row IDs and one record at a
// time on top of the open database.
void BM_Scan1MRows(benchmark::State& state) {
  const fs::path& path = MillionRowDatabase();
  const size_t before = gLiveBytes;
  auto db = Open(path, false);
  const size_t opened = gLiveBytes - before;
  size_t peak = 0;
  for (auto _ : state) {
    const size_t start = gLiveBytes;
    gPeakBytes = start;
    QueryRows(*db, "SELECT id FROM t WHERE s LIKE 'nothing%'");
    peak = gPeakBytes - start;
  }
  state.counters["heap_open_MB"] = MB(opened);
  state.counters["heap_scan_peak_MB"] = MB(peak);
  state.SetItemsProcessed(state.iterations() * 1000000);
}
BENCHMARK(BM_Scan1MRows)->Unit(benchmark::kMillisecond)->Iterations(3);

// The first use of a table after opening also proves its row-position map
// against the records (one record header read per row); later scans don't.
void BM_FirstScan1MRowsAfterOpening(benchmark::State& state) {
  const fs::path& path = MillionRowDatabase();
  for (auto _ : state) {
    state.PauseTiming();
    auto db = Open(path, false);
    state.ResumeTiming();
    QueryRows(*db, "SELECT id FROM t WHERE s LIKE 'nothing%'");
    state.PauseTiming();
    db.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * 1000000);
}
BENCHMARK(BM_FirstScan1MRowsAfterOpening)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
}  // namespace parvex
