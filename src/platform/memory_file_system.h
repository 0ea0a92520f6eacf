// MemoryFileSystem: host files kept in memory, with what a crash leaves.
//
// A ParvexFileSystem for tests and tools. Each file keeps two images: its
// bytes as the running program sees them, and its durable bytes (what the
// last Sync made safe). The folder likewise keeps its names as they are and
// as the last SyncFolder made them durable. From that the file system can
// build what a process crash leaves (every write survives: the operating
// system still holds them) and what a power loss leaves (only synced state is
// certain; every sector written since, every length change and every file
// creation or removal since, is kept or lost at random, so a write can be
// torn at sector granularity). Locks work between opens as on a real system.
// A capacity makes writes that would grow the files past it fail with ENOSPC.
//
// Paths are plain keys: "/x/a.pvx" and "a.pvx" are different files, and every
// file is in one folder.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/file_system.h"

namespace parvex {

class MemoryFileSystem final : public ParvexFileSystem {
 public:
  // Sector size of the power-loss model.
  static constexpr size_t kSectorSize = 512;

  MemoryFileSystem() = default;
  ~MemoryFileSystem() override;

  int Open(const std::string& path, OpenMode mode, std::unique_ptr<ParvexHostFile>* file) override;
  int Delete(const std::string& path) override;
  int SyncFolder(const std::string& path) override;

  bool Exists(const std::string& path) const;
  // The bytes as the program sees them; empty for a missing file.
  std::string Contents(const std::string& path) const;
  // Makes a file with these bytes, durable at once.
  void SetContents(const std::string& path, const std::string& bytes);
  // 0: no limit.
  void SetCapacity(int64_t bytes) { mCapacity = bytes; }

  std::unique_ptr<MemoryFileSystem> AfterProcessCrash() const;
  // The same seed gives the same losses.
  std::unique_ptr<MemoryFileSystem> AfterPowerLoss(uint64_t seed) const;

 private:
  friend class MemoryHostFile;
  struct Node {
    std::vector<uint8_t> bytes;
    std::vector<uint8_t> durable;
    int sharedLocks = 0;
    bool exclusiveLock = false;
  };

  // ENOSPC when growing `node` to `length` would pass the capacity.
  int CheckRoom(const Node& node, int64_t length) const;

  std::map<std::string, std::shared_ptr<Node>> mFiles;
  std::map<std::string, std::shared_ptr<Node>> mDurableFiles;
  int64_t mCapacity = 0;
};

}  // namespace parvex
