// JournaledFile: opening, locking, hot journals, the stream and its page cache.
#include "platform/journaled_file.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>
#include <random>
#include <thread>
#include <vector>

#include "platform/journal_format.h"

namespace parvex {

namespace {

constexpr int64_t kPage = JournaledFile::kPageSize;
// Pages read at once when reads go on page after page.
constexpr size_t kReadAheadPages = 16;

std::string DatabaseFileName(const std::string& path) { return "the database file " + path; }

}  // namespace

JournaledFile::JournaledFile(ParvexFileSystem* fileSystem, const std::string& path, const HostFileOptions& options)
    : mFileSystem(fileSystem),
      mPath(path),
      mReadOnly(options.readOnly),
      mSync(options.sync),
      mCacheLimit(static_cast<size_t>(options.cachePages > 0 ? std::max(options.cachePages, kMinCachePages)
                                                             : kDefaultCachePages)) {
  std::random_device device;
  mNonceState = (static_cast<uint64_t>(device()) << 32) ^ device() ^
                static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  if (!mReadOnly) mJournal = std::make_unique<RollbackJournal>(fileSystem, path + kJournalSuffix, mSync);
}

std::unique_ptr<JournaledFile> JournaledFile::Open(const std::string& path, const HostFileOptions& options,
                                                   HostFileFailure* failure) {
  ParvexFileSystem* fileSystem = options.fileSystem ? options.fileSystem : &OperatingSystemFileSystem();
  std::unique_ptr<JournaledFile> file(new JournaledFile(fileSystem, path, options));
  using Mode = ParvexFileSystem::OpenMode;
  bool created = false;
  int error = fileSystem->Open(path, options.readOnly ? Mode::kReadOnly : Mode::kReadWrite, &file->mFile);
  if (error == ENOENT && options.create && !options.readOnly) {
    error = fileSystem->Open(path, Mode::kReadWriteCreate, &file->mFile);
    created = error == 0;
    if (!failure->Note(error, "creating " + DatabaseFileName(path))) return nullptr;
  }
  if (!failure->Note(error, "opening " + DatabaseFileName(path))) return nullptr;
  if (!file->LockFile(options.lockTimeoutMs, failure)) return nullptr;
  if (!failure->Note(file->mFile->GetSize(&file->mFileSize), "reading the size of " + DatabaseFileName(path))) {
    return nullptr;
  }
  if (!file->RecoverHotJournal(created, failure)) return nullptr;
  file->mReadableEnd = file->mLength;
  return file;
}

JournaledFile::~JournaledFile() {
  if (!mFile || mReadOnly) return;
  HostFileFailure ignored;
  if (mInTransaction || mNeedsRestore) Rollback(&ignored);
  // A journal left hot is the next opener's to play back.
  if (!mNeedsRestore) mJournal->Remove();
}

bool JournaledFile::LockFile(int32_t timeoutMs, HostFileFailure* failure) {
  const HostLockKind kind = mReadOnly ? HostLockKind::kShared : HostLockKind::kExclusive;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(std::max(0, timeoutMs));
  auto pause = std::chrono::milliseconds(1);
  for (;;) {
    const int error = mFile->Lock(kind);
    if (error == 0) return true;
    const auto now = std::chrono::steady_clock::now();
    if (error != EWOULDBLOCK || now >= deadline) {
      failure->Note(error, "locking " + DatabaseFileName(mPath));
      return false;
    }
    std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(pause, deadline - now));
    pause = std::min(pause * 2, std::chrono::milliseconds(50));
  }
}

bool JournaledFile::RecoverHotJournal(bool fileWasCreated, HostFileFailure* failure) {
  const std::string journalPath = mPath + kJournalSuffix;
  const std::string journalName = "the journal file " + journalPath;
  mLength = mFileSize;
  if (fileWasCreated) {
    // A journal beside a file that did not exist belongs to another file.
    mFileSystem->Delete(journalPath);
    return true;
  }
  using Mode = ParvexFileSystem::OpenMode;
  std::unique_ptr<ParvexHostFile> journal;
  const int error = mFileSystem->Open(journalPath, mReadOnly ? Mode::kReadOnly : Mode::kReadWrite, &journal);
  if (error == ENOENT) return true;
  if (!failure->Note(error, "opening " + journalName)) return false;
  bool live = false;
  JournalHeader header;
  if (!failure->Note(ReadJournalHeader(journal.get(), &live, &header), "reading " + journalName)) return false;
  if (!live) {
    if (!mReadOnly) {
      journal.reset();
      mFileSystem->Delete(journalPath);
    }
    return true;
  }
  if (mReadOnly) {
    // The pages the journal holds are read from it: the file as last committed.
    if (header.pageSize != kPageSize) {
      return failure->Note(EINVAL, "reading " + journalName + " (pages of " + std::to_string(header.pageSize) +
                                       " bytes; open the database read-write once to roll it back)");
    }
    const int scanError = ScanJournal(journal.get(), header, [this](uint32_t page, const uint8_t*, int64_t offset) {
      mHotPages.emplace(page, offset);
      return 0;
    });
    if (!failure->Note(scanError, "reading " + journalName)) return false;
    mHotJournal = std::move(journal);
    mLength = header.originalLength;
    return true;
  }
  if (!PlayBackJournal(journal.get(), header, mFile.get(), mPath, journalPath, mSync, failure)) return false;
  // Spent before it goes, so that a removal lost in a power loss leaves
  // nothing to play back again.
  static const uint8_t kZeros[kJournalHeaderSize] = {};
  if (!failure->Note(journal->Write(0, kZeros, sizeof kZeros), "clearing " + journalName)) return false;
  if (mSync && !failure->Note(journal->Sync(), "syncing " + journalName)) return false;
  journal.reset();
  mFileSystem->Delete(journalPath);
  mFileSize = header.originalLength;
  mLength = mFileSize;
  return true;
}

bool JournaledFile::Fail(int code) {
  SetLastError(code);
  return false;
}

bool JournaledFile::NoteFailure(int code, const std::string& action) {
  SetLastError(code);
  if (mInTransaction) mFailure.Note(code, action);
  return false;
}

// --- the stream ---------------------------------------------------------------------------

bool JournaledFile::SeekFromStart(int32_t offset) {
  if (offset < 0) return Fail(EINVAL);
  mPosition = offset;
  mAtEOF = false;
  return true;
}

bool JournaledFile::ReadData(void* buffer, int32_t count, int32_t* bytesRead) {
  if (bytesRead) *bytesRead = 0;
  if (count < 0) return Fail(EINVAL);
  if (mNeedsRestore) return Fail(EIO);
  auto* out = static_cast<uint8_t*>(buffer);
  // A read inside the page read last (the usual step of a scan through the
  // volume's blocks) adds no page, so the cache needs no trimming.
  if (mLastPage && count > 0 && mPosition / kPage == mLastNumber && mPosition % kPage + count <= kPage &&
      mPosition + count <= mLength) {
    std::memcpy(out, mLastPage->bytes + mPosition % kPage, static_cast<size_t>(count));
    mPosition += count;
    if (bytesRead) *bytesRead = count;
    return true;
  }
  const int64_t wanted = std::min<int64_t>(count, std::max<int64_t>(0, mLength - mPosition));
  int64_t done = 0;
  bool ok = true;
  while (done < wanted) {
    const auto number = static_cast<uint32_t>(mPosition / kPage);
    const int64_t offset = mPosition % kPage;
    const int64_t n = std::min(wanted - done, kPage - offset);
    CachedPage* page = FetchPage(number);
    if (!page) {
      ok = false;
      break;
    }
    std::memcpy(out + done, page->bytes + offset, static_cast<size_t>(n));
    done += n;
    mPosition += n;
  }
  if (ok && done < count) mAtEOF = true;
  if (bytesRead) *bytesRead = static_cast<int32_t>(done);
  ok = TrimCache() && ok;
  return ok && done > 0;
}

bool JournaledFile::WriteData(const void* buffer, int32_t count) {
  if (count < 0) return Fail(EINVAL);
  if (mReadOnly) return Fail(EROFS);
  if (mNeedsRestore) return Fail(EIO);
  // A failed transaction takes no more changes: they could only pile up in
  // memory until the rollback.
  if (mFailure.Failed() && !mDiscarding) return Fail(mFailure.error);
  if (!mInTransaction) BeginTransaction();
  if (mPosition + count > kMaxHostFileLength) return NoteFailure(EFBIG, "writing " + DatabaseFileName(mPath));
  const auto* in = static_cast<const uint8_t*>(buffer);
  int64_t done = 0;
  while (done < count) {
    const auto number = static_cast<uint32_t>(mPosition / kPage);
    const int64_t offset = mPosition % kPage;
    const int64_t n = std::min<int64_t>(count - done, kPage - offset);
    CachedPage* page = FetchPage(number);
    if (!page) return false;
    // Bytes the page already holds change nothing: no journal record, no write.
    if (page->dirty || std::memcmp(page->bytes + offset, in + done, static_cast<size_t>(n)) != 0) {
      if (!page->dirty) MakeDirty(number, *page);  // may move the page's bytes
      std::memcpy(page->bytes + offset, in + done, static_cast<size_t>(n));
    }
    done += n;
    mPosition += n;
  }
  mLength = std::max(mLength, mPosition);
  mAtEOF = false;
  return TrimCache();
}

bool JournaledFile::SetLength(int32_t length) {
  if (length < 0) return Fail(EINVAL);
  if (mReadOnly) return Fail(EROFS);
  if (mNeedsRestore) return Fail(EIO);
  if (mFailure.Failed() && !mDiscarding) return Fail(mFailure.error);
  if (length == mLength) return true;
  if (!mInTransaction) BeginTransaction();
  if (length > mLength) {
    mLength = length;  // the new bytes read as zeros
    return true;
  }
  // Cutting: the pages that go keep their originals in the journal first.
  const auto keptPages = static_cast<uint32_t>((length + kPage - 1) / kPage);
  const auto oldPages = static_cast<uint32_t>((mLength + kPage - 1) / kPage);
  for (uint32_t number = keptPages; number < oldPages; ++number) {
    if (number < mOriginalPages && mJournaled.count(number) == 0) {
      CachedPage* page = FetchPage(number);
      if (!page) return false;
      if (!page->dirty) MakeDirty(number, *page);
    }
    const auto found = mPages.find(number);
    if (found != mPages.end()) {
      if (found->second.dirty) --mDirtyPages;
      mPages.erase(found);
    }
  }
  mLastNumber = UINT32_MAX;
  mLastPage = nullptr;
  if (length % kPage != 0) {
    const auto last = static_cast<uint32_t>(length / kPage);
    CachedPage* page = FetchPage(last);
    if (!page) return false;
    if (!page->dirty) MakeDirty(last, *page);
    std::memset(page->bytes + length % kPage, 0, static_cast<size_t>(kPage - length % kPage));
  }
  mLength = length;
  mReadableEnd = std::min<int64_t>(mReadableEnd, length);
  if (mPosition > mLength) mAtEOF = true;
  return TrimCache();
}

// --- the page cache ---------------------------------------------------------------------

JournaledFile::CachedPage* JournaledFile::FetchPage(uint32_t number) {
  if (number == mLastNumber) return mLastPage;
  auto found = mPages.find(number);
  if (found == mPages.end() && number == mLastLoaded + 1) {
    // Reads that go on page after page take the next pages with them, in
    // one read of the file.
    const uint32_t count = ReadAheadCount(number);
    if (count > 1) {
      if (!LoadPages(number, count)) {
        if (mInTransaction) mFailure.Note(LastError(), "reading " + DatabaseFileName(mPath));
        return nullptr;
      }
      found = mPages.find(number);
    }
  }
  if (found == mPages.end()) {
    CachedPage page;
    page.block.reset(new (std::nothrow) uint8_t[kPageSize]);
    page.bytes = page.block.get();
    if (!page.bytes) {
      NoteFailure(ENOMEM, "caching " + DatabaseFileName(mPath));
      return nullptr;
    }
    if (!LoadPage(number, page.bytes)) {
      // A transaction that met a read error is not committed: a page read
      // for a change can't be journaled, and what was read for the commit's
      // own work may be missing.
      if (mInTransaction) mFailure.Note(LastError(), "reading " + DatabaseFileName(mPath));
      return nullptr;
    }
    found = mPages.emplace(number, std::move(page)).first;
    mLastLoaded = number;
  }
  mLastNumber = number;
  mLastPage = &found->second;
  return mLastPage;
}

bool JournaledFile::LoadPage(uint32_t number, uint8_t* bytes) {
  const int64_t start = static_cast<int64_t>(number) * kPage;
  size_t got = 0;
  if (!mHotPages.empty()) {
    const auto hot = mHotPages.find(number);
    if (hot != mHotPages.end()) {
      if (const int error = mHotJournal->Read(hot->second, bytes, kPageSize, &got)) return Fail(error);
      if (got < kPageSize) return Fail(EIO);
      // Past the original length the page reads as zeros, like the file.
      if (mLength - start < kPage) {
        std::memset(bytes + std::max<int64_t>(0, mLength - start), 0,
                    static_cast<size_t>(kPage - std::max<int64_t>(0, mLength - start)));
      }
      return true;
    }
  }
  const int64_t readable = std::clamp<int64_t>(std::min(mReadableEnd, mFileSize) - start, 0, kPage);
  if (readable > 0) {
    if (const int error = mFile->Read(start, bytes, static_cast<size_t>(readable), &got)) return Fail(error);
  }
  std::memset(bytes + got, 0, kPageSize - got);
  return true;
}

uint32_t JournaledFile::ReadAheadCount(uint32_t first) const {
  // Pages of a hot journal are read one by one from it; a small cache
  // takes few pages at a time.
  if (!mHotPages.empty()) return 1;
  const int64_t fileEnd = std::min(mReadableEnd, mFileSize);
  const auto most = static_cast<uint32_t>(std::min<size_t>(kReadAheadPages, std::max<size_t>(1, mCacheLimit / 4)));
  uint32_t count = 0;
  while (count < most && static_cast<int64_t>(first + count) * kPage < fileEnd && !mPages.count(first + count)) {
    ++count;
  }
  return count;
}

bool JournaledFile::LoadPages(uint32_t first, uint32_t count) {
  const int64_t start = static_cast<int64_t>(first) * kPage;
  const int64_t bytes = std::min<int64_t>(static_cast<int64_t>(count) * kPage, std::min(mReadableEnd, mFileSize) - start);
  if (bytes <= 0) return true;
  // The pages are read straight into one block that they then share.
  std::shared_ptr<uint8_t[]> block(new (std::nothrow) uint8_t[static_cast<size_t>(count) * kPageSize]);
  if (!block) return true;  // the page that is needed is read on its own
  size_t got = 0;
  if (const int error = mFile->Read(start, block.get(), static_cast<size_t>(bytes), &got)) return Fail(error);
  // A short read leaves the pages it did not reach to be read one by one.
  for (uint32_t i = 0; i < count && static_cast<size_t>(i) * kPageSize < got; ++i) {
    const size_t at = static_cast<size_t>(i) * kPageSize;
    const size_t filled = std::min<size_t>(kPageSize, got - at);
    if (filled < kPageSize && at + filled < static_cast<size_t>(bytes)) break;
    CachedPage page;
    page.block = block;
    page.bytes = block.get() + at;
    std::memset(page.bytes + filled, 0, kPageSize - filled);
    mPages.emplace(first + i, std::move(page));
    mLastLoaded = first + i;
  }
  return true;
}

void JournaledFile::MakeDirty(uint32_t number, CachedPage& page) {
  // The page still holds what the file held when the transaction began: a
  // clean page was either read from the file or written out after it was
  // journaled.
  if (number < mOriginalPages && mJournaled.insert(number).second) mJournal->Append(number, page.bytes);
  if (page.block.use_count() > 1) {
    // Its bytes are shared with pages read along with it: changes go to a copy.
    std::shared_ptr<uint8_t[]> own(new uint8_t[kPageSize]);
    std::memcpy(own.get(), page.bytes, kPageSize);
    page.block = std::move(own);
    page.bytes = page.block.get();
  }
  page.dirty = true;
  ++mDirtyPages;
}

bool JournaledFile::TrimCache() {
  if (mPages.size() <= mCacheLimit) return true;
  bool ok = true;
  if (mDirtyPages > mCacheLimit / 2 && !mDiscarding) ok = WritePages();
  DropCleanPages();
  return ok;
}

void JournaledFile::DropCleanPages() {
  for (auto it = mPages.begin(); it != mPages.end();) {
    it = it->second.dirty ? std::next(it) : mPages.erase(it);
  }
  mLastNumber = UINT32_MAX;
  mLastPage = nullptr;
}

void JournaledFile::DropAllPages() {
  mPages.clear();
  mDirtyPages = 0;
  mLastNumber = UINT32_MAX;
  mLastPage = nullptr;
}

}  // namespace parvex
