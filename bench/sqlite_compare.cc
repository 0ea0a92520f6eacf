// Parvex against SQLite on the same data in one run: seven workloads at
// each given size, each run in a fresh child process per engine so that its
// peak memory (ru_maxrss) is the workload's own.
//
//   build/release/sqlite_compare [--rows N[,N...]] [--runs R] [--dir FOLDER] [--only W[,W...]]
//
// --only runs and prints only the named workloads (the load still runs once,
// unprinted, to make the data the others read).
//
// Data: t(id Integer, name String, grp Integer, val Integer, ref Integer)
// with N rows (id 1..N, name 8 pseudo-random lowercase letters, grp = id %
// 100, val = id % 1000, ref = id % (N/10) + 1) and an index on t.id;
// u(id Integer, label String) with N/10 rows. Workloads, through the C APIs
// of both engines (<parvex/parvex.h>, <sqlite3.h>), with the same SQL text:
//   load    create both tables and the index, insert every row, one transaction
//   like    5 LIKE scans with COUNT(*)
//   lookup  200 point lookups on t.id, every column read
//   group   GROUP BY grp (100 groups) with COUNT(*) and SUM(val)
//   order   every row of t ordered by name, every value read
//   update  UPDATE a tenth of the rows (grp < 10), committed
//   join    equality join t x u on t.ref = u.id, COUNT(*)
// Each workload's time is the median of R runs (default 3) of its statements
// (opening the database is timed apart): wall time ("s") and the process's
// CPU time ("c", steadier on a shared machine), with parvex/sqlite ratios;
// "MB" is the child's peak resident memory. Results are checked to agree.
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <parvex/parvex.h>

namespace {

using Clock = std::chrono::steady_clock;

const char* const kWorkloads[] = {"load", "like", "lookup", "group", "order", "update", "join"};
const char* const kLikePatterns[] = {"%ab%", "x%", "%q_z%", "%mm", "a%b%"};
constexpr int kLookups = 200;

// 8 lowercase letters, different for every id: the id times a number prime
// to 26, modulo 26^8, written in base 26 (so the order by name has no ties).
std::string NameOf(long id) {
  constexpr uint64_t kSpace = 208827064576ULL;  // 26^8
  uint64_t x = (static_cast<uint64_t>(id) * 150000000001ULL) % kSpace;  // no overflow below 2^26 ids
  std::string name(8, 'a');
  for (char& c : name) {
    c = static_cast<char>('a' + x % 26);
    x /= 26;
  }
  return name;
}

// The load's statements, made one at a time (a list of them all would count
// in both engines' peak memory): the schema, then t's rows, then u's.
class LoadStatements {
 public:
  explicit LoadStatements(long rows) : mRows(rows), mSmall(std::max(1L, rows / 10)) {}
  long Count() const { return 3 + mRows + mSmall; }
  std::string operator[](long i) const {
    if (i == 0) return "CREATE TABLE t (id Integer, name String, grp Integer, val Integer, ref Integer)";
    if (i == 1) return "CREATE TABLE u (id Integer, label String)";
    if (i == 2) return "CREATE INDEX tid ON t (id)";
    long id = i - 2;
    if (id <= mRows) {
      return "INSERT INTO t VALUES (" + std::to_string(id) + ", '" + NameOf(id) + "', " + std::to_string(id % 100) +
             ", " + std::to_string(id % 1000) + ", " + std::to_string(id % mSmall + 1) + ")";
    }
    id -= mRows;
    return "INSERT INTO u VALUES (" + std::to_string(id) + ", 'label" + std::to_string(id) + "')";
  }

 private:
  long mRows;
  long mSmall;
};

long LookupID(int i, long rows) { return 1 + (static_cast<long>(i) * 7919) % rows; }

// --- the engines ----------------------------------------------------------------

// One engine's way of running statements; a query's result is consumed
// whole and summarised as a checksum of its values' texts and its row count.
class Engine {
 public:
  virtual ~Engine() = default;
  virtual bool Open(const std::string& path, bool create) = 0;
  virtual void Execute(const std::string& sql) = 0;
  virtual uint64_t Query(const std::string& sql, long* rows) = 0;
  virtual void Begin() = 0;
  virtual void Commit() = 0;
};

uint64_t Fold(uint64_t sum, std::string_view text) {
  for (char c : text) sum = (sum ^ static_cast<unsigned char>(c)) * 0x100000001b3ULL;
  return sum * 31 + 7;
}

class ParvexEngine : public Engine {
 public:
  ~ParvexEngine() override { parvex_close(mDb); }
  bool Open(const std::string& path, bool create) override {
    return parvex_open(path.c_str(), create ? PARVEX_OPEN_CREATE : 0, 0, &mDb) == PARVEX_OK;
  }
  void Execute(const std::string& sql) override {
    if (parvex_exec(mDb, sql.c_str()) != PARVEX_OK) Fail(sql);
  }
  uint64_t Query(const std::string& sql, long* rows) override {
    parvex_stmt* statement = nullptr;
    if (parvex_prepare(mDb, sql.c_str(), &statement) != PARVEX_OK) Fail(sql);
    uint64_t sum = 0;
    *rows = 0;
    int step;
    while ((step = parvex_step(statement)) == PARVEX_ROW) {
      ++*rows;
      for (int c = 0; c < parvex_column_count(statement); ++c) {
        const char* text = parvex_column_text(statement, c);
        sum = Fold(sum, text ? std::string_view(text) : std::string_view("NULL"));
      }
    }
    parvex_finalize(statement);
    if (step != PARVEX_DONE) Fail(sql);
    return sum;
  }
  void Begin() override {}
  void Commit() override {
    if (parvex_commit(mDb) != PARVEX_OK) Fail("COMMIT");
  }

 private:
  void Fail(const std::string& sql) {
    std::fprintf(stderr, "parvex: %s: %s\n", sql.c_str(), parvex_errmsg(mDb));
    std::exit(2);
  }
  parvex_db* mDb = nullptr;
};

class SqliteEngine : public Engine {
 public:
  ~SqliteEngine() override {
    if (mDb) sqlite3_close(mDb);
  }
  bool Open(const std::string& path, bool create) override {
    const int flags = SQLITE_OPEN_READWRITE | (create ? SQLITE_OPEN_CREATE : 0);
    return sqlite3_open_v2(path.c_str(), &mDb, flags, nullptr) == SQLITE_OK;
  }
  void Execute(const std::string& sql) override {
    char* error = nullptr;
    if (sqlite3_exec(mDb, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
      std::fprintf(stderr, "sqlite: %s: %s\n", sql.c_str(), error ? error : "?");
      std::exit(2);
    }
  }
  uint64_t Query(const std::string& sql, long* rows) override {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(mDb, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
      std::fprintf(stderr, "sqlite: %s: %s\n", sql.c_str(), sqlite3_errmsg(mDb));
      std::exit(2);
    }
    uint64_t sum = 0;
    *rows = 0;
    const int columns = sqlite3_column_count(statement);
    while (sqlite3_step(statement) == SQLITE_ROW) {
      ++*rows;
      for (int c = 0; c < columns; ++c) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, c));
        sum = Fold(sum, text ? std::string_view(text) : std::string_view("NULL"));
      }
    }
    sqlite3_finalize(statement);
    return sum;
  }
  void Begin() override { Execute("BEGIN"); }
  void Commit() override { Execute("COMMIT"); }

 private:
  sqlite3* mDb = nullptr;
};

// --- one workload in a child process ------------------------------------------------

struct Outcome {
  double openSeconds = 0;
  double seconds = 0;
  double cpuSeconds = 0;  // user + system time of the workload's statements
  uint64_t check = 0;  // results summarised; both engines must agree
};

double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

Outcome RunWorkload(Engine& engine, const std::string& workload, const std::string& path, long rows) {
  Outcome outcome;
  const bool load = workload == "load";
  if (load) std::filesystem::remove(path);
  auto start = Clock::now();
  if (!engine.Open(path, load)) {
    std::fprintf(stderr, "cannot open %s\n", path.c_str());
    std::exit(2);
  }
  outcome.openSeconds = std::chrono::duration<double>(Clock::now() - start).count();
  const double cpuStart = CpuSeconds();
  start = Clock::now();
  long count = 0;
  if (load) {
    engine.Begin();
    const LoadStatements statements(rows);
    for (long i = 0; i < statements.Count(); ++i) engine.Execute(statements[i]);
    engine.Commit();
  } else if (workload == "like") {
    for (const char* pattern : kLikePatterns) {
      outcome.check += engine.Query(std::string("SELECT COUNT(*) FROM t WHERE name LIKE '") + pattern + "'", &count);
    }
  } else if (workload == "lookup") {
    for (int i = 0; i < kLookups; ++i) {
      outcome.check += engine.Query("SELECT * FROM t WHERE id = " + std::to_string(LookupID(i, rows)), &count);
    }
  } else if (workload == "group") {
    outcome.check = engine.Query("SELECT grp, COUNT(*), SUM(val) FROM t GROUP BY grp", &count);
  } else if (workload == "order") {
    outcome.check = engine.Query("SELECT * FROM t ORDER BY name", &count);
  } else if (workload == "update") {
    engine.Begin();
    engine.Execute("UPDATE t SET val = val + 1 WHERE grp < 10");
    engine.Commit();
  } else if (workload == "join") {
    outcome.check = engine.Query("SELECT COUNT(*) FROM t, u WHERE t.ref = u.id", &count);
  }
  outcome.seconds = std::chrono::duration<double>(Clock::now() - start).count();
  outcome.cpuSeconds = CpuSeconds() - cpuStart;
  return outcome;
}

int ChildMain(const std::string& engineName, const std::string& workload, const std::string& path, long rows) {
  std::unique_ptr<Engine> engine;
  if (engineName == "parvex") {
    engine = std::make_unique<ParvexEngine>();
  } else {
    engine = std::make_unique<SqliteEngine>();
  }
  const Outcome outcome = RunWorkload(*engine, workload, path, rows);
  engine.reset();
  std::printf("%.6f %.6f %.6f %llu\n", outcome.openSeconds, outcome.seconds, outcome.cpuSeconds,
              static_cast<unsigned long long>(outcome.check));
  return 0;
}

struct Measured {
  Outcome outcome;
  long peakKB = 0;
};

// Runs one workload in a new process of this program; its peak memory comes
// from wait4.
Measured RunChild(const char* self, const std::string& engine, const std::string& workload,
                  const std::string& path, long rows) {
  int pipeFds[2];
  if (pipe(pipeFds) != 0) std::exit(2);
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(pipeFds[1], STDOUT_FILENO);
    close(pipeFds[0]);
    close(pipeFds[1]);
    const std::string rowText = std::to_string(rows);
    execl(self, self, "--child", engine.c_str(), workload.c_str(), path.c_str(), rowText.c_str(),
          static_cast<char*>(nullptr));
    _exit(127);
  }
  close(pipeFds[1]);
  std::string output;
  char buffer[256];
  for (ssize_t n; (n = read(pipeFds[0], buffer, sizeof buffer)) > 0;) output.append(buffer, static_cast<size_t>(n));
  close(pipeFds[0]);
  int status = 0;
  rusage usage{};
  wait4(pid, &status, 0, &usage);
  Measured measured;
  unsigned long long check = 0;
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 ||
      std::sscanf(output.c_str(), "%lf %lf %lf %llu", &measured.outcome.openSeconds, &measured.outcome.seconds,
                  &measured.outcome.cpuSeconds, &check) != 4) {
    std::fprintf(stderr, "%s %s failed\n", engine.c_str(), workload.c_str());
    std::exit(2);
  }
  measured.outcome.check = check;
  measured.peakKB = usage.ru_maxrss;
  return measured;
}

Measured Median(std::vector<Measured> runs) {
  std::sort(runs.begin(), runs.end(),
            [](const Measured& a, const Measured& b) { return a.outcome.seconds < b.outcome.seconds; });
  Measured median = runs[runs.size() / 2];
  for (const Measured& run : runs) median.peakKB = std::max(median.peakKB, run.peakKB);
  return median;
}

std::vector<long> ParseSizes(const char* text) {
  std::vector<long> sizes;
  for (const char* p = text; *p;) {
    char* end = nullptr;
    sizes.push_back(std::strtol(p, &end, 10));
    p = *end == ',' ? end + 1 : end;
    if (end == p && *p) break;
  }
  return sizes;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 6 && std::strcmp(argv[1], "--child") == 0) {
    return ChildMain(argv[2], argv[3], argv[4], std::strtol(argv[5], nullptr, 10));
  }
  std::vector<long> sizes{100000, 1000000};
  int runs = 3;
  std::string dir = std::filesystem::temp_directory_path().string();
  std::string only;
  for (int i = 1; i + 1 < argc; i += 2) {
    if (std::strcmp(argv[i], "--rows") == 0) sizes = ParseSizes(argv[i + 1]);
    if (std::strcmp(argv[i], "--runs") == 0) runs = std::max(1, std::atoi(argv[i + 1]));
    if (std::strcmp(argv[i], "--dir") == 0) dir = argv[i + 1];
    if (std::strcmp(argv[i], "--only") == 0) only = std::string(",") + argv[i + 1] + ",";
  }
  auto selected = [&only](const std::string& workload) {
    return only.empty() || only.find("," + workload + ",") != std::string::npos;
  };
  const std::string self = "/proc/self/exe";
  std::printf("%-8s %9s %9s %9s %6s %9s %9s %6s %10s %10s %7s\n", "workload", "rows", "parvex s", "sqlite s",
              "ratio", "parvex c", "sqlite c", "c-rat", "parvex MB", "sqlite MB", "open s");
  for (long rows : sizes) {
    const std::string base = dir + "/sqlite-compare-" + std::to_string(getpid()) + "-" + std::to_string(rows);
    const std::string paths[2] = {base + ".pvx", base + ".sqlite"};
    const char* engines[2] = {"parvex", "sqlite"};
    for (const char* workload : kWorkloads) {
      if (!selected(workload)) {
        if (std::strcmp(workload, "load") == 0) {
          for (int e = 0; e < 2; ++e) RunChild(self.c_str(), engines[e], workload, paths[e], rows);
        }
        continue;
      }
      Measured results[2];
      for (int e = 0; e < 2; ++e) {
        std::vector<Measured> measured;
        for (int r = 0; r < runs; ++r) measured.push_back(RunChild(self.c_str(), engines[e], workload, paths[e], rows));
        results[e] = Median(measured);
      }
      const char* agreement = results[0].outcome.check == results[1].outcome.check ? "" : "  RESULTS DIFFER";
      const Outcome& p = results[0].outcome;
      const Outcome& q = results[1].outcome;
      std::printf("%-8s %9ld %9.3f %9.3f %6.2f %9.3f %9.3f %6.2f %10.1f %10.1f %7.3f%s\n", workload, rows, p.seconds,
                  q.seconds, p.seconds / std::max(1e-9, q.seconds), p.cpuSeconds, q.cpuSeconds,
                  p.cpuSeconds / std::max(1e-9, q.cpuSeconds), results[0].peakKB / 1024.0, results[1].peakKB / 1024.0,
                  p.openSeconds, agreement);
      std::fflush(stdout);
    }
    for (const std::string& path : paths) std::filesystem::remove(path);
  }
  return 0;
}
