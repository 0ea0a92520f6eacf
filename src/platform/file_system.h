// ParvexFileSystem: every access the engine makes to host files.
//
// The database file, its rollback journal and the folder that holds them are
// reached only through these two interfaces, so a test (or an embedder) can
// hand the engine another file system: the memory file system with simulated
// power loss (memory_file_system.h), a wrapper that fails chosen operations
// (fault_injection.h), or anything else that keeps this contract.
//
// Contract of every operation: the result is 0 on success or an errno value
// (EIO, ENOSPC, EFBIG, ENOENT, EWOULDBLOCK...) on failure; nothing throws. An
// operation that fails may have done part of its work (a write may have
// changed some of its bytes), as a real disk may.
// - Read returns fewer bytes than asked only at the end of the file.
// - Write writes every byte or fails; writing past the end extends the file,
//   a gap reading as zeros.
// - Sync returns once the file's bytes and length written so far survive a
//   power loss. Without it they may be lost, in whole or in part, in any
//   order, a sector at a time.
// - SyncFolder returns once the creations and removals of files in the folder
//   holding `path` survive a power loss.
// - Lock never waits: EWOULDBLOCK when another open of the same file (in this
//   process or another) holds a conflicting lock. Shared locks coexist; an
//   exclusive lock excludes every other. Locks belong to the open file and go
//   with it; closing other opens of the same file does not release them.
// Files hold at most kMaxHostFileLength bytes (the engine's streams address
// them with signed 32-bit offsets); a longer file is refused with EFBIG.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace parvex {

constexpr int64_t kMaxHostFileLength = INT32_MAX;

enum class HostLockKind { kShared, kExclusive };

class ParvexHostFile {
 public:
  ParvexHostFile() = default;
  ParvexHostFile(const ParvexHostFile&) = delete;
  ParvexHostFile& operator=(const ParvexHostFile&) = delete;
  // Closes the file, releasing its lock.
  virtual ~ParvexHostFile() = default;

  virtual int Read(int64_t offset, void* buffer, size_t count, size_t* got) = 0;
  virtual int Write(int64_t offset, const void* buffer, size_t count) = 0;
  virtual int Truncate(int64_t length) = 0;
  virtual int GetSize(int64_t* length) = 0;
  virtual int Sync() = 0;
  virtual int Lock(HostLockKind kind) = 0;
  virtual int Unlock() = 0;
};

class ParvexFileSystem {
 public:
  enum class OpenMode {
    kReadOnly,
    kReadWrite,        // the file must exist
    kReadWriteCreate,  // created (empty) when missing; never emptied
  };

  ParvexFileSystem() = default;
  ParvexFileSystem(const ParvexFileSystem&) = delete;
  ParvexFileSystem& operator=(const ParvexFileSystem&) = delete;
  virtual ~ParvexFileSystem() = default;

  // Opens a regular file (a folder or device is refused); ENOENT when it is
  // missing and not created.
  virtual int Open(const std::string& path, OpenMode mode, std::unique_ptr<ParvexHostFile>* file) = 0;
  // Removes a file; ENOENT when there is none.
  virtual int Delete(const std::string& path) = 0;
  virtual int SyncFolder(const std::string& path) = 0;
};

// The operating system's file system (POSIX calls; locks are flock locks,
// which belong to the open file, not to the process).
ParvexFileSystem& OperatingSystemFileSystem();

}  // namespace parvex
