// JournaledFile: the database file as the volume sees it, with atomic,
// durable commits and one writer at a time.
//
// A RandomAccessMechanism over a host file of a ParvexFileSystem. Everything
// written between two commits is one transaction: Commit makes all of it
// durable at once, Rollback (or destroying the object without a commit)
// leaves the file exactly as last committed, and a crash or power loss at any
// moment leaves the committed state or, once the commit point has passed,
// the new one. The layers above see an ordinary stream.
//
// How: bytes live in a cache of pages (kPageSize bytes each); when reads go
// on page after page, the pages that follow are read with the one asked for
// (up to 16 pages in one read of the file). The first time
// a transaction changes a page that existed when it began, the page's
// original bytes are queued for the rollback journal "<path>-journal"
// (journal_format.h); pages beyond the original length need only the
// original length, which the journal's header holds. Writing bytes that a
// page already holds changes nothing and costs no journal record. Pages reach
// the database file only after the journal records of every page changed so
// far were written and synced, either when the cache is full (a spill) or at
// Commit:
//   1. write the queued journal records and sync the journal (and, the first
//      time, its folder);
//   2. write the changed pages, set the file's length, sync the file;
//   3. clear the journal's header and sync it: the commit point.
// The journal file stays (cleared) while the file is open and is removed when
// it closes. With `sync` off the syncs are skipped: a crash of the program
// still leaves the old or the new state, a power loss may not.
//
// Opening takes a lock on the database file: exclusive for a read-write open,
// shared for a read-only one, so one writer or any number of readers use a
// file at a time. A refused lock is retried until the timeout; nothing is
// ever written to a file whose lock was not obtained. A hot journal (a live
// header, left by a crash) is then dealt with before anything reads the file:
// a read-write open plays it back (restores the pages, cuts the file to its
// original length, syncs) and clears it; a read-only open never writes: it
// reads the pages the journal holds from the journal and the rest from the
// file, up to the original length, so it sees the file as last committed and
// leaves the journal for the next writer.
//
// Failures: every write, sync or read failure in a transaction is kept
// (TransactionFailure) and makes Commit fail without reaching the commit
// point; the caller then rolls back. A rollback that can't restore the file
// keeps the journal hot, makes every read and write fail, and is retried by
// the next Rollback (or by the next open, when the program ends first).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "platform/file_system.h"
#include "platform/random_access.h"
#include "platform/rollback_journal.h"

namespace parvex {

struct HostFileOptions {
  ParvexFileSystem* fileSystem = nullptr;  // null: the operating system's
  bool readOnly = false;
  bool create = false;  // a missing file is created (read-write opens only)
  bool sync = true;
  int32_t lockTimeoutMs = 0;  // how long to wait for the lock; 0: no wait
  int32_t cachePages = 0;     // pages the cache may hold; 0: kDefaultCachePages
};

class JournaledFile final : public RandomAccessMechanism {
 public:
  static constexpr uint32_t kPageSize = 4096;
  static constexpr int32_t kDefaultCachePages = 512;  // 2 MiB
  static constexpr int32_t kMinCachePages = 8;

  // Null with `failure` set when the file can't be opened, locked (error
  // EWOULDBLOCK) or recovered.
  static std::unique_ptr<JournaledFile> Open(const std::string& path, const HostFileOptions& options,
                                             HostFileFailure* failure);
  // Rolls back what was not committed, removes the spent journal, unlocks.
  ~JournaledFile() override;

  bool ReadData(void* buffer, int32_t count, int32_t* bytesRead) override;
  bool WriteData(const void* buffer, int32_t count) override;
  // The volume closes its stream when it goes; the file stays open, locked
  // and in its transaction until this object is destroyed.
  bool Close() override { return true; }
  bool IsEOF() override { return mAtEOF; }
  bool SeekFromStart(int32_t offset) override;
  int32_t GetLength() override { return static_cast<int32_t>(mLength); }
  bool SetLength(int32_t length) override;
  int32_t GetPosition() override { return static_cast<int32_t>(mPosition); }
  // No I/O: durability comes with Commit. False once the transaction failed.
  bool FlushToDisk() override { return !mFailure.Failed(); }

  const std::string& Path() const { return mPath; }
  bool ReadOnly() const { return mReadOnly; }
  // True when something was written since the last commit or rollback.
  bool InTransaction() const { return mInTransaction; }
  bool NeedsRestore() const { return mNeedsRestore; }
  const HostFileFailure& TransactionFailure() const { return mFailure; }

  bool Commit(HostFileFailure* failure);
  bool Rollback(HostFileFailure* failure);
  // From now until the next Rollback, writes stay in memory and never reach
  // the file (for tearing down objects whose writes will be rolled back).
  void DiscardWrites() { mDiscarding = true; }

 private:
  struct CachedPage {
    // Pages read ahead together share one block (one read, no copy each);
    // a page that is about to change gets a block of its own first.
    std::shared_ptr<uint8_t[]> block;
    uint8_t* bytes = nullptr;
    bool dirty = false;
  };

  JournaledFile(ParvexFileSystem* fileSystem, const std::string& path, const HostFileOptions& options);
  bool LockFile(int32_t timeoutMs, HostFileFailure* failure);
  bool RecoverHotJournal(bool fileWasCreated, HostFileFailure* failure);
  bool Fail(int code);
  bool NoteFailure(int code, const std::string& action);

  // The cache (journaled_file.cc).
  CachedPage* FetchPage(uint32_t number);
  bool LoadPage(uint32_t number, uint8_t* bytes);
  // How many pages from `first` on may be read at once (uncached ones in the
  // file, at most kReadAheadPages), and reading them into the cache.
  uint32_t ReadAheadCount(uint32_t first) const;
  bool LoadPages(uint32_t first, uint32_t count);
  // Marks a clean page changed, queueing its original for the journal.
  void MakeDirty(uint32_t number, CachedPage& page);
  bool TrimCache();
  void DropCleanPages();
  void DropAllPages();

  // The transaction (journaled_file_commit.cc).
  void BeginTransaction();
  void EndTransaction();
  // Hardens the journal, then writes every changed page and any pending cut.
  bool WritePages();
  bool WritePageRun(const std::vector<uint32_t>& numbers, size_t first, size_t count);
  bool RestoreFromJournal(HostFileFailure* failure);
  uint64_t NextNonce();

  ParvexFileSystem* mFileSystem;
  std::string mPath;
  bool mReadOnly;
  bool mSync;
  size_t mCacheLimit;
  std::unique_ptr<ParvexHostFile> mFile;
  std::unique_ptr<RollbackJournal> mJournal;  // null for a read-only open

  // A read-only open over a hot journal: pages read from the journal.
  std::unique_ptr<ParvexHostFile> mHotJournal;
  std::unordered_map<uint32_t, int64_t> mHotPages;  // page number -> offset of its bytes

  int64_t mPosition = 0;
  bool mAtEOF = false;
  int64_t mLength = 0;       // as the stream's users see it
  int64_t mFileSize = 0;     // of the host file
  int64_t mReadableEnd = 0;  // file bytes from here on read as zeros (a cut not yet made)

  std::unordered_map<uint32_t, CachedPage> mPages;
  uint32_t mLastNumber = UINT32_MAX;  // the page last fetched, for small transfers
  uint32_t mLastLoaded = UINT32_MAX - 1;  // the page last read from the file
  CachedPage* mLastPage = nullptr;
  size_t mDirtyPages = 0;

  bool mInTransaction = false;
  int64_t mOriginalLength = 0;
  uint32_t mOriginalPages = 0;
  std::unordered_set<uint32_t> mJournaled;
  bool mFileTouched = false;  // the host file received pages or a length in this transaction
  bool mDiscarding = false;
  bool mNeedsRestore = false;
  HostFileFailure mFailure;
  uint64_t mNonceState = 0;
};

}  // namespace parvex
