// FaultInjectingFileSystem: counting and failing operations.
#include "platform/fault_injection.h"

#include <cerrno>

namespace parvex {

namespace {

class FaultInjectingHostFile final : public ParvexHostFile {
 public:
  FaultInjectingHostFile(FaultInjectingFileSystem* owner, std::unique_ptr<ParvexHostFile> file)
      : mOwner(owner), mFile(std::move(file)) {}

  int Read(int64_t offset, void* buffer, size_t count, size_t* got) override {
    *got = 0;
    if (const int error = mOwner->Admit(FaultInjectingFileSystem::kRead)) return error;
    return mFile->Read(offset, buffer, count, got);
  }
  int Write(int64_t offset, const void* buffer, size_t count) override {
    if (const int error = mOwner->Admit(FaultInjectingFileSystem::kWrite)) return error;
    return mFile->Write(offset, buffer, count);
  }
  int Truncate(int64_t length) override {
    if (const int error = mOwner->Admit(FaultInjectingFileSystem::kWrite)) return error;
    return mFile->Truncate(length);
  }
  int GetSize(int64_t* length) override {
    if (mOwner->Crashed()) return EIO;
    return mFile->GetSize(length);
  }
  int Sync() override {
    if (const int error = mOwner->Admit(FaultInjectingFileSystem::kSync)) return error;
    return mFile->Sync();
  }
  int Lock(HostLockKind kind) override { return mFile->Lock(kind); }
  int Unlock() override { return mFile->Unlock(); }

 private:
  FaultInjectingFileSystem* mOwner;
  std::unique_ptr<ParvexHostFile> mFile;
};

int KindIndex(FaultInjectingFileSystem::Kind kind) {
  return kind == FaultInjectingFileSystem::kRead ? 0 : kind == FaultInjectingFileSystem::kWrite ? 1 : 2;
}

}  // namespace

int FaultInjectingFileSystem::Admit(Kind kind) {
  ++mCounts[KindIndex(kind)];
  if (mCrashed) return EIO;
  if (mCrashCountdown > 0 && kind != kRead && --mCrashCountdown == 0) {
    mCrashed = true;
    return EIO;
  }
  if ((mFailKinds & kind) == 0) return 0;
  if (mFailing) return mFailError;
  if (mFailCountdown > 0 && --mFailCountdown == 0) {
    mFailing = mFailPersistent;
    if (!mFailPersistent) mFailKinds = 0;
    return mFailError;
  }
  return 0;
}

int FaultInjectingFileSystem::Open(const std::string& path, OpenMode mode, std::unique_ptr<ParvexHostFile>* file) {
  file->reset();
  if (mCrashed) return EIO;
  if (mode == OpenMode::kReadWriteCreate) {
    if (const int error = Admit(kWrite)) return error;
  }
  std::unique_ptr<ParvexHostFile> inner;
  if (const int error = mBase->Open(path, mode, &inner)) return error;
  *file = std::make_unique<FaultInjectingHostFile>(this, std::move(inner));
  return 0;
}

int FaultInjectingFileSystem::Delete(const std::string& path) {
  if (const int error = Admit(kWrite)) return error;
  return mBase->Delete(path);
}

int FaultInjectingFileSystem::SyncFolder(const std::string& path) {
  if (const int error = Admit(kSync)) return error;
  return mBase->SyncFolder(path);
}

void FaultInjectingFileSystem::FailAt(uint32_t kinds, uint64_t n, int error, bool persistent) {
  mFailKinds = kinds;
  mFailCountdown = n;
  mFailError = error;
  mFailPersistent = persistent;
  mFailing = false;
}

void FaultInjectingFileSystem::CrashAt(uint64_t n) {
  mCrashCountdown = n;
  mCrashed = n == 0;
}

void FaultInjectingFileSystem::ClearFaults() {
  mFailKinds = 0;
  mFailCountdown = 0;
  mFailing = false;
  mCrashCountdown = 0;
  mCrashed = false;
}

uint64_t FaultInjectingFileSystem::Count(uint32_t kinds) const {
  uint64_t total = 0;
  if (kinds & kRead) total += mCounts[0];
  if (kinds & kWrite) total += mCounts[1];
  if (kinds & kSync) total += mCounts[2];
  return total;
}

}  // namespace parvex
