// The parvex shell on bulk work, run as a program: .import of a CSV file,
// .dump of the table, and reading the dump into a new database. Each
// benchmark runs the shell binary that sits next to this one (build/release/
// parvex) once per iteration, so the figures include starting the process and
// opening the database; rows/s should stay flat as the row count grows.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

extern char** environ;

namespace {

namespace fs = std::filesystem;

fs::path ShellBinary() { return fs::read_symlink("/proc/self/exe").parent_path() / "parvex"; }

// The folder of the files, created on first use and removed at exit (by
// `cleanup`, defined after it so that it is destroyed first).
fs::path gWorkDir;

const fs::path& WorkDir() {
  if (gWorkDir.empty()) {
    gWorkDir = fs::temp_directory_path() / ("parvex-bench-shell-" + std::to_string(getpid()));
    fs::create_directories(gWorkDir);
  }
  return gWorkDir;
}

// Runs the shell with `args`, standard input from `input` (or /dev/null) and
// standard output to `output` (or /dev/null); false unless it exits with 0.
bool RunShell(const std::vector<std::string>& args, const std::string& input = "/dev/null",
              const std::string& output = "/dev/null") {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, input.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  std::vector<std::string> all = {ShellBinary().string()};
  all.insert(all.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& arg : all) argv.push_back(arg.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (spawned != 0) return false;
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// A CSV file of `rows` rows with a quoted text, an integer and a double.
std::string CsvFile(int64_t rows) {
  const fs::path path = WorkDir() / ("rows" + std::to_string(rows) + ".csv");
  if (!fs::exists(path)) {
    std::ofstream out(path);
    out << "id,name,score\n";
    for (int64_t i = 0; i < rows; ++i) out << i << ",\"name " << i << ", with a comma\"," << (i % 1000) * 0.25 << "\n";
  }
  return path.string();
}

// A database holding the CSV file's rows as one table.
std::string ImportedDatabase(int64_t rows) {
  const fs::path path = WorkDir() / ("imported" + std::to_string(rows) + ".pvx");
  if (!fs::exists(path)) RunShell({path.string(), ".import " + CsvFile(rows) + " t"});
  return path.string();
}

std::string DumpFile(int64_t rows) {
  const fs::path path = WorkDir() / ("dump" + std::to_string(rows) + ".sql");
  if (!fs::exists(path)) RunShell({ImportedDatabase(rows), ".dump"}, "/dev/null", path.string());
  return path.string();
}

void BM_ShellImport(benchmark::State& state) {
  const std::string csv = CsvFile(state.range(0));
  const std::string db = (WorkDir() / "import.pvx").string();
  for (auto _ : state) {
    state.PauseTiming();
    fs::remove(db);
    state.ResumeTiming();
    if (!RunShell({db, ".import " + csv + " t"})) state.SkipWithError("the shell failed");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_ShellDump(benchmark::State& state) {
  const std::string db = ImportedDatabase(state.range(0));
  for (auto _ : state) {
    if (!RunShell({db, ".dump"})) state.SkipWithError("the shell failed");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_ShellReloadDump(benchmark::State& state) {
  const std::string dump = DumpFile(state.range(0));
  const std::string db = (WorkDir() / "reload.pvx").string();
  for (auto _ : state) {
    state.PauseTiming();
    fs::remove(db);
    state.ResumeTiming();
    if (!RunShell({db}, dump)) state.SkipWithError("the shell failed");
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_ShellImport)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ShellDump)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ShellReloadDump)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

struct Cleanup {
  ~Cleanup() {
    std::error_code ignored;
    if (!gWorkDir.empty()) fs::remove_all(gWorkDir, ignored);
  }
} cleanup;

}  // namespace
