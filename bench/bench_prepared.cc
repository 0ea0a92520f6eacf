// 100,000 INSERTs through the public C interface, two ways: one prepared
// statement bound and run 100,000 times, and 100,000 INSERT texts each parsed
// by parvex_exec. Both fill the same two-column table in one transaction on
// a no-sync database in ./bench-prepared-files (removed at the end), and
// commit once; the figure is the time for the whole batch.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "parvex/parvex.h"

namespace {

constexpr int kRows = 100000;

const std::filesystem::path kFolder = std::filesystem::current_path() / "bench-prepared-files";

// A fresh database holding the empty table t (a Integer, b String).
parvex_db* FreshDatabase() {
  std::filesystem::create_directories(kFolder);
  const std::string path = (kFolder / "bench.pvx").string();
  std::filesystem::remove(path);
  std::filesystem::remove(path + "-journal");
  parvex_db* db = nullptr;
  if (parvex_open(path.c_str(), PARVEX_OPEN_CREATE | PARVEX_OPEN_NOSYNC, 0, &db) != PARVEX_OK ||
      parvex_exec(db, "CREATE TABLE t (a Integer, b String)") != PARVEX_OK || parvex_commit(db) != PARVEX_OK) {
    std::fprintf(stderr, "setup: %s\n", parvex_errmsg(db));
    parvex_close(db);
    return nullptr;
  }
  return db;
}

void Finish(benchmark::State& state, parvex_db* db) {
  if (parvex_commit(db) != PARVEX_OK) state.SkipWithError(parvex_errmsg(db));
  state.PauseTiming();
  parvex_close(db);
  state.ResumeTiming();
}

void BM_InsertPrepared(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    parvex_db* db = FreshDatabase();
    if (!db) return state.SkipWithError("setup failed");
    state.ResumeTiming();
    parvex_stmt* insert = nullptr;
    parvex_prepare(db, "INSERT INTO t VALUES (?, ?)", &insert);
    for (int i = 0; i < kRows; ++i) {
      const std::string text = "row " + std::to_string(i);
      parvex_reset(insert);
      parvex_bind_int(insert, 1, i);
      parvex_bind_text(insert, 2, text.c_str(), static_cast<int64_t>(text.size()));
      if (parvex_step(insert) != PARVEX_DONE) return state.SkipWithError(parvex_errmsg(db));
    }
    parvex_finalize(insert);
    Finish(state, db);
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}

void BM_InsertTexts(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    parvex_db* db = FreshDatabase();
    if (!db) return state.SkipWithError("setup failed");
    state.ResumeTiming();
    for (int i = 0; i < kRows; ++i) {
      const std::string sql = "INSERT INTO t VALUES (" + std::to_string(i) + ", 'row " + std::to_string(i) + "')";
      if (parvex_exec(db, sql.c_str()) != PARVEX_OK) return state.SkipWithError(parvex_errmsg(db));
    }
    Finish(state, db);
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}

BENCHMARK(BM_InsertPrepared)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_InsertTexts)->Unit(benchmark::kMillisecond)->Iterations(3);

struct RemoveFolder {
  ~RemoveFolder() { std::filesystem::remove_all(kFolder); }
} gRemoveFolder;

}  // namespace
