// MemoryFileSystem: files, locks, capacity and the crash images.
#include "platform/memory_file_system.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <random>

namespace parvex {

class MemoryHostFile final : public ParvexHostFile {
 public:
  MemoryHostFile(MemoryFileSystem* fileSystem, std::shared_ptr<MemoryFileSystem::Node> node, bool writable)
      : mFileSystem(fileSystem), mNode(std::move(node)), mWritable(writable) {}
  ~MemoryHostFile() override { Unlock(); }

  int Read(int64_t offset, void* buffer, size_t count, size_t* got) override {
    *got = 0;
    if (offset < 0) return EINVAL;
    const auto& bytes = mNode->bytes;
    if (static_cast<uint64_t>(offset) >= bytes.size()) return 0;
    *got = std::min(count, bytes.size() - static_cast<size_t>(offset));
    std::memcpy(buffer, bytes.data() + offset, *got);
    return 0;
  }

  int Write(int64_t offset, const void* buffer, size_t count) override {
    if (!mWritable) return EBADF;
    const int64_t end = offset + static_cast<int64_t>(count);
    if (offset < 0 || end > kMaxHostFileLength) return EFBIG;
    if (const int error = mFileSystem->CheckRoom(*mNode, end)) return error;
    auto& bytes = mNode->bytes;
    if (static_cast<uint64_t>(end) > bytes.size()) bytes.resize(static_cast<size_t>(end), 0);
    if (count > 0) std::memcpy(bytes.data() + offset, buffer, count);
    return 0;
  }

  int Truncate(int64_t length) override {
    if (!mWritable) return EBADF;
    if (length < 0 || length > kMaxHostFileLength) return EFBIG;
    if (const int error = mFileSystem->CheckRoom(*mNode, length)) return error;
    mNode->bytes.resize(static_cast<size_t>(length), 0);
    return 0;
  }

  int GetSize(int64_t* length) override {
    *length = static_cast<int64_t>(mNode->bytes.size());
    return 0;
  }

  int Sync() override {
    mNode->durable = mNode->bytes;
    return 0;
  }

  int Lock(HostLockKind kind) override {
    auto& node = *mNode;
    if (kind == HostLockKind::kExclusive) {
      if (mLock == HostLockKind::kExclusive && mLocked) return 0;
      const int otherShared = node.sharedLocks - (mLocked ? 1 : 0);
      if (node.exclusiveLock || otherShared > 0) return EWOULDBLOCK;
      Unlock();
      node.exclusiveLock = true;
    } else {
      if (mLocked && mLock == HostLockKind::kShared) return 0;
      if (node.exclusiveLock && !(mLocked && mLock == HostLockKind::kExclusive)) return EWOULDBLOCK;
      Unlock();
      ++node.sharedLocks;
    }
    mLock = kind;
    mLocked = true;
    return 0;
  }

  int Unlock() override {
    if (!mLocked) return 0;
    if (mLock == HostLockKind::kExclusive) {
      mNode->exclusiveLock = false;
    } else {
      --mNode->sharedLocks;
    }
    mLocked = false;
    return 0;
  }

 private:
  MemoryFileSystem* mFileSystem;
  std::shared_ptr<MemoryFileSystem::Node> mNode;
  bool mWritable;
  bool mLocked = false;
  HostLockKind mLock = HostLockKind::kShared;
};

MemoryFileSystem::~MemoryFileSystem() = default;

int MemoryFileSystem::CheckRoom(const Node& node, int64_t length) const {
  const int64_t growth = length - static_cast<int64_t>(node.bytes.size());
  if (mCapacity <= 0 || growth <= 0) return 0;
  int64_t used = 0;
  for (const auto& [path, file] : mFiles) used += static_cast<int64_t>(file->bytes.size());
  return used + growth > mCapacity ? ENOSPC : 0;
}

int MemoryFileSystem::Open(const std::string& path, OpenMode mode, std::unique_ptr<ParvexHostFile>* file) {
  file->reset();
  if (path.empty()) return EINVAL;
  auto found = mFiles.find(path);
  if (found == mFiles.end()) {
    if (mode != OpenMode::kReadWriteCreate) return ENOENT;
    found = mFiles.emplace(path, std::make_shared<Node>()).first;
  }
  *file = std::make_unique<MemoryHostFile>(this, found->second, mode != OpenMode::kReadOnly);
  return 0;
}

int MemoryFileSystem::Delete(const std::string& path) { return mFiles.erase(path) == 1 ? 0 : ENOENT; }

int MemoryFileSystem::SyncFolder(const std::string&) {
  mDurableFiles = mFiles;
  return 0;
}

bool MemoryFileSystem::Exists(const std::string& path) const { return mFiles.count(path) == 1; }

std::string MemoryFileSystem::Contents(const std::string& path) const {
  const auto found = mFiles.find(path);
  if (found == mFiles.end()) return std::string();
  return std::string(found->second->bytes.begin(), found->second->bytes.end());
}

void MemoryFileSystem::SetContents(const std::string& path, const std::string& bytes) {
  auto node = std::make_shared<Node>();
  node->bytes.assign(bytes.begin(), bytes.end());
  node->durable = node->bytes;
  mFiles[path] = node;
  mDurableFiles[path] = node;
}

std::unique_ptr<MemoryFileSystem> MemoryFileSystem::AfterProcessCrash() const {
  auto image = std::make_unique<MemoryFileSystem>();
  for (const auto& [path, node] : mFiles) {
    image->SetContents(path, std::string(node->bytes.begin(), node->bytes.end()));
  }
  image->mCapacity = mCapacity;
  return image;
}

std::unique_ptr<MemoryFileSystem> MemoryFileSystem::AfterPowerLoss(uint64_t seed) const {
  std::mt19937_64 random(seed);
  const auto coin = [&random] { return (random() & 1) == 1; };
  // Which node each name ends up with: certain where both states agree.
  std::map<std::string, std::shared_ptr<Node>> names;
  for (const auto& [path, node] : mDurableFiles) names[path] = node;
  for (const auto& [path, node] : mFiles) {
    const auto durable = mDurableFiles.find(path);
    if (durable != mDurableFiles.end() && durable->second == node) continue;
    if (coin()) names[path] = node;
  }
  for (const auto& [path, node] : mDurableFiles) {
    if (mFiles.count(path) == 0 && coin()) names.erase(path);
  }

  auto image = std::make_unique<MemoryFileSystem>();
  for (const auto& [path, node] : names) {
    const std::vector<uint8_t>& now = node->bytes;
    const std::vector<uint8_t>& safe = node->durable;
    const size_t length = now.size() == safe.size() || coin() ? now.size() : safe.size();
    std::string bytes(length, '\0');
    for (size_t start = 0; start < length; start += kSectorSize) {
      const size_t end = std::min(length, start + kSectorSize);
      // A sector differs when either image has different bytes in it (a
      // byte past an image's end reads as zero).
      bool differs = false;
      for (size_t i = start; i < end && !differs; ++i) {
        const uint8_t a = i < now.size() ? now[i] : 0;
        const uint8_t b = i < safe.size() ? safe[i] : 0;
        differs = a != b;
      }
      const std::vector<uint8_t>& source = differs && coin() ? safe : now;
      for (size_t i = start; i < end; ++i) bytes[i] = static_cast<char>(i < source.size() ? source[i] : 0);
    }
    image->SetContents(path, bytes);
  }
  image->mCapacity = mCapacity;
  return image;
}

}  // namespace parvex
