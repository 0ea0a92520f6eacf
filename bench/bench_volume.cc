// The virtual volume against a plain host file: sequential writes and reads
// of 64 MiB (in 100-byte and 4 KiB pieces) and 100,000 random 100-byte reads.
// The volume side goes through the whole stack the engine uses:
// ParvexFileAccess -> VHFSVolume -> VFile over a JournaledFile.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "platform/data_file.h"
#include "storage/file_access.h"

namespace parvex {
namespace {

constexpr int32_t kTotalBytes = 64 << 20;
constexpr int32_t kRandomReads = 100000;
constexpr int32_t kRandomReadSize = 100;

std::string BenchPath(const char* name) { return "/tmp/parvex-bench-" + std::to_string(::getpid()) + "-" + name; }

std::vector<uint8_t> Pattern(size_t size) {
  std::vector<uint8_t> bytes(size);
  for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 131 + 7);
  return bytes;
}

// Writes kTotalBytes in pieces of `piece` bytes.
void WriteAll(RandomAccessMechanism& stream, int32_t piece) {
  const std::vector<uint8_t> bytes = Pattern(static_cast<size_t>(piece));
  for (int32_t done = 0; done < kTotalBytes; done += piece) {
    if (!stream.WriteData(bytes.data(), std::min(piece, kTotalBytes - done))) std::abort();
  }
}

void ReadAll(RandomAccessMechanism& stream, int32_t piece) {
  std::vector<uint8_t> bytes(static_cast<size_t>(piece));
  int32_t got = 0;
  int64_t total = 0;
  if (!stream.SeekFromStart(0)) std::abort();
  while (total < kTotalBytes && stream.ReadData(bytes.data(), piece, &got) && got > 0) total += got;
  if (total != kTotalBytes) std::abort();
  benchmark::DoNotOptimize(bytes.data());
}

void RandomReads(RandomAccessMechanism& stream) {
  std::mt19937 random(12345);
  uint8_t bytes[kRandomReadSize];
  int32_t got = 0;
  for (int32_t i = 0; i < kRandomReads; ++i) {
    const int32_t at = static_cast<int32_t>(random() % (kTotalBytes - kRandomReadSize));
    if (!stream.SeekFromStart(at) || !stream.ReadData(bytes, kRandomReadSize, &got) || got != kRandomReadSize) {
      std::abort();
    }
  }
  benchmark::DoNotOptimize(bytes);
}

// Creating, committed without syncing: the figures compare transfers, not
// the disk's sync time.
HostFileOptions UnsyncedCreate() {
  HostFileOptions options;
  options.create = true;
  options.sync = false;
  return options;
}

// A database file holding one 64 MiB file "t.dat", made once per process.
class VolumeFile {
 public:
  VolumeFile() : mPath(BenchPath("volume-read")) {
    ::unlink(mPath.c_str());
    if (!mAccess.CreateOrOpenDataFolder(mPath.c_str(), UnsyncedCreate(), nullptr)) std::abort();
    {
      std::unique_ptr<RandomAccessMechanism> file = mAccess.OpenFile("t.dat", true, false);
      WriteAll(*file, 4096);
    }
    HostFileFailure failure;
    if (!mAccess.Commit(&failure)) std::abort();
  }
  ~VolumeFile() { ::unlink(mPath.c_str()); }
  std::unique_ptr<RandomAccessMechanism> Open() { return mAccess.OpenFile("t.dat", false, true); }

 private:
  std::string mPath;
  ParvexFileAccess mAccess;
};

class PlainFile {
 public:
  PlainFile() : mPath(BenchPath("plain-read")) {
    UnixDataFile file;
    if (!file.Create(mPath.c_str())) std::abort();
    WriteAll(file, 4096);
    file.Close();
  }
  ~PlainFile() { ::unlink(mPath.c_str()); }
  std::unique_ptr<DataFile> Open() {
    std::unique_ptr<DataFile> file = DataFile::New();
    if (!file->Open(mPath.c_str(), DataFile::kOpenReadOnly)) std::abort();
    return file;
  }

 private:
  std::string mPath;
};

VolumeFile& SharedVolume() {
  static VolumeFile volume;
  return volume;
}

PlainFile& SharedPlain() {
  static PlainFile plain;
  return plain;
}

void BM_SequentialWrite_PlainFile(benchmark::State& state) {
  const std::string path = BenchPath("plain-write");
  for (auto _ : state) {
    UnixDataFile file;
    if (!file.Create(path.c_str())) std::abort();
    WriteAll(file, static_cast<int32_t>(state.range(0)));
    file.Close();
  }
  ::unlink(path.c_str());
  state.SetBytesProcessed(state.iterations() * int64_t{kTotalBytes});
}

void BM_SequentialWrite_Volume(benchmark::State& state) {
  const std::string path = BenchPath("volume-write");
  for (auto _ : state) {
    ::unlink(path.c_str());
    ParvexFileAccess access;
    if (!access.CreateOrOpenDataFolder(path.c_str(), UnsyncedCreate(), nullptr)) std::abort();
    std::unique_ptr<RandomAccessMechanism> file = access.OpenFile("t.dat", true, false);
    WriteAll(*file, static_cast<int32_t>(state.range(0)));
    file.reset();
    HostFileFailure failure;
    if (!access.Commit(&failure)) std::abort();
  }
  ::unlink(path.c_str());
  state.SetBytesProcessed(state.iterations() * int64_t{kTotalBytes});
}

void BM_SequentialRead_PlainFile(benchmark::State& state) {
  std::unique_ptr<DataFile> file = SharedPlain().Open();
  for (auto _ : state) ReadAll(*file, static_cast<int32_t>(state.range(0)));
  state.SetBytesProcessed(state.iterations() * int64_t{kTotalBytes});
}

void BM_SequentialRead_Volume(benchmark::State& state) {
  std::unique_ptr<RandomAccessMechanism> file = SharedVolume().Open();
  for (auto _ : state) ReadAll(*file, static_cast<int32_t>(state.range(0)));
  state.SetBytesProcessed(state.iterations() * int64_t{kTotalBytes});
}

void BM_RandomReads100B_PlainFile(benchmark::State& state) {
  std::unique_ptr<DataFile> file = SharedPlain().Open();
  for (auto _ : state) RandomReads(*file);
  state.SetItemsProcessed(state.iterations() * int64_t{kRandomReads});
}

void BM_RandomReads100B_Volume(benchmark::State& state) {
  std::unique_ptr<RandomAccessMechanism> file = SharedVolume().Open();
  for (auto _ : state) RandomReads(*file);
  state.SetItemsProcessed(state.iterations() * int64_t{kRandomReads});
}

BENCHMARK(BM_SequentialWrite_PlainFile)->Arg(100)->Arg(4096)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SequentialWrite_Volume)->Arg(100)->Arg(4096)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SequentialRead_PlainFile)->Arg(100)->Arg(4096)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SequentialRead_Volume)->Arg(100)->Arg(4096)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RandomReads100B_PlainFile)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RandomReads100B_Volume)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace parvex
