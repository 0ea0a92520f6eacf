// FaultInjectingFileSystem: a file system that fails chosen operations.
//
// Wraps another ParvexFileSystem (the memory one or the operating system's)
// and counts what passes through, by kind:
// - kRead: Read;
// - kWrite: Write, Truncate, Delete, and an Open that may create the file;
// - kSync: Sync and SyncFolder.
// Opening, sizes and locks are never failed. Two kinds of fault:
// - FailAt: the n-th operation of the given kinds from now fails with an
//   errno value (EIO, ENOSPC...) without doing anything; `persistent` makes
//   every later one of those kinds fail too, until ClearFaults.
// - CrashAt: from the n-th operation of any counted kind on, every
//   operation (opening too) fails with EIO and does nothing: the program
//   has died there, and whatever it does afterwards never reaches the disk.
//   The wrapped file system then holds what the crash left (for the memory
//   file system, AfterProcessCrash or AfterPowerLoss gives the disk after
//   the crash).
// Files opened through the wrapper stay tied to it: it must outlive them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/file_system.h"

namespace parvex {

class FaultInjectingFileSystem final : public ParvexFileSystem {
 public:
  enum Kind : uint32_t {
    kRead = 1,
    kWrite = 2,
    kSync = 4,
    kWriteOrSync = kWrite | kSync,
  };

  explicit FaultInjectingFileSystem(ParvexFileSystem* base) : mBase(base) {}

  int Open(const std::string& path, OpenMode mode, std::unique_ptr<ParvexHostFile>* file) override;
  int Delete(const std::string& path) override;
  int SyncFolder(const std::string& path) override;

  // `n` counts from 1: FailAt(kWrite, 1, ENOSPC) fails the next write.
  void FailAt(uint32_t kinds, uint64_t n, int error, bool persistent);
  void CrashAt(uint64_t n);
  void ClearFaults();
  bool Crashed() const { return mCrashed; }
  // Operations of these kinds seen so far (failed ones included).
  uint64_t Count(uint32_t kinds) const;

  // Counts the operation and tells whether it must fail (0: go ahead).
  int Admit(Kind kind);

 private:
  ParvexFileSystem* mBase;
  uint64_t mCounts[3] = {};
  uint32_t mFailKinds = 0;
  uint64_t mFailCountdown = 0;  // 0: no fault armed
  int mFailError = 0;
  bool mFailPersistent = false;
  bool mFailing = false;  // a persistent fault has started
  uint64_t mCrashCountdown = 0;
  bool mCrashed = false;
};

}  // namespace parvex
