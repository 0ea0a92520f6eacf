// RollbackJournal: writing, reading and playing back the rollback journal.
//
// The writer's side (RollbackJournal) queues the original bytes of pages in
// memory and hardens them (write, then sync) when the database file is
// about to receive pages; the journal file is created on the first Harden
// and kept (its header cleared) between transactions, so a transaction does
// not pay for creating and removing a file. The reader's side
// (ReadJournalHeader, ScanJournal, PlayBackJournal) serves both a rollback in
// the running program and the recovery of a hot journal left by a crash.
// The layout is in journal_format.h.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/file_system.h"

namespace parvex {

// What failed: the errno value and what was being done, for example
// "writing the journal file /d/a.pvx-journal".
struct HostFileFailure {
  int error = 0;
  std::string action;

  bool Failed() const { return error != 0; }
  // Keeps the first failure only; false when `error` is a failure.
  bool Note(int code, const std::string& what);
};

struct JournalHeader {
  uint32_t pageSize = 0;
  uint64_t nonce = 0;
  int64_t originalLength = 0;
};

class RollbackJournal {
 public:
  RollbackJournal(ParvexFileSystem* fileSystem, std::string path, bool sync);
  ~RollbackJournal();

  const std::string& Path() const { return mPath; }
  // Starts a transaction's journal: its header is queued first.
  void Begin(const JournalHeader& header);
  // Queues a page's original bytes (header.pageSize of them).
  void Append(uint32_t pageNumber, const uint8_t* page);
  // True when bytes are queued that have not reached the file.
  bool NeedsHardening() const { return mChunksUsed > 0; }
  // True once the transaction's header may have reached the file.
  bool Started() const { return mStarted; }
  // Writes the queued bytes and syncs the journal (and, after creating it,
  // its folder): every page appended so far is then safe.
  bool Harden(HostFileFailure* failure);
  // Clears the header and syncs: the transaction's records no longer count.
  bool Invalidate(HostFileFailure* failure);
  // Writes the transaction's header again and syncs, so that the records in
  // the file count whatever happened to the header (a clearing that failed
  // half-way): a rollback does this before it touches the database file.
  bool RestoreHeader(HostFileFailure* failure);
  const JournalHeader& Header() const { return mHeader; }
  // Forgets the transaction (after Invalidate, or when it never reached the file).
  void Reset();
  // Closes the journal and removes its file (only for a spent journal).
  void Remove();
  // The open journal file, null before the first Harden.
  ParvexHostFile* File() const { return mFile.get(); }

 private:
  ParvexFileSystem* mFileSystem;
  std::string mPath;
  bool mSync;
  std::unique_ptr<ParvexHostFile> mFile;
  bool mFolderSynced = false;
  JournalHeader mHeader;
  std::vector<uint8_t> mHeaderBytes;
  // The queued bytes, in chunks that each hold whole records (so that
  // appending never moves what is queued); chunks past mChunksUsed are kept
  // empty for the next records.
  static constexpr size_t kQueueChunkBytes = size_t{1} << 20;
  std::vector<uint8_t>& ChunkWithRoom(size_t bytes);
  std::vector<std::vector<uint8_t>> mQueue;
  size_t mChunksUsed = 0;
  int64_t mQueueOffset = 0;  // where the queue's first byte goes in the file
  bool mStarted = false;
};

// Reads the header at offset 0. 0 with *live false when there is none or it
// is spent or torn; an errno value when the file can't be read.
int ReadJournalHeader(ParvexHostFile* journal, bool* live, JournalHeader* header);

// Visits the records of a live journal in file order, stopping at the end of
// the records; `visit` gets the page number, its original bytes and the
// offset of those bytes in the journal, and returns 0 or an errno value that
// stops the scan. Returns 0 or the first errno value.
int ScanJournal(ParvexHostFile* journal, const JournalHeader& header,
                const std::function<int(uint32_t page, const uint8_t* bytes, int64_t offset)>& visit);

// Writes every recorded page back (the first record of a page wins), cuts
// the database file to the original length and, when `sync`, syncs it.
bool PlayBackJournal(ParvexHostFile* journal, const JournalHeader& header, ParvexHostFile* database,
                     const std::string& databasePath, const std::string& journalPath, bool sync,
                     HostFileFailure* failure);

}  // namespace parvex
