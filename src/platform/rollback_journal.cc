// RollbackJournal: the journal's header, records, hardening and playback.
#include "platform/rollback_journal.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <unordered_set>

#include "platform/journal_format.h"

namespace parvex {

namespace {

void PutU32(uint8_t* out, uint32_t value) {
  for (int i = 0; i < 4; ++i) out[i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

void PutU64(uint8_t* out, uint64_t value) {
  for (int i = 0; i < 8; ++i) out[i] = static_cast<uint8_t>(value >> (56 - 8 * i));
}

uint32_t GetU32(const uint8_t* in) {
  uint32_t value = 0;
  for (int i = 0; i < 4; ++i) value = (value << 8) | in[i];
  return value;
}

uint64_t GetU64(const uint8_t* in) {
  uint64_t value = 0;
  for (int i = 0; i < 8; ++i) value = (value << 8) | in[i];
  return value;
}

uint64_t RotateLeft(uint64_t value, int bits) { return (value << bits) | (value >> (64 - bits)); }

constexpr uint64_t kPrime1 = 0x9E3779B185EBCA87ULL;
constexpr uint64_t kPrime2 = 0xC2B2AE3D27D4EB4FULL;
constexpr uint64_t kPrime3 = 0x165667B19E3779F9ULL;

bool ValidPageSize(uint32_t size) {
  return size >= kJournalMinPageSize && size <= kJournalMaxPageSize && (size & (size - 1)) == 0;
}

}  // namespace

uint64_t JournalChecksum(uint64_t seed, const uint8_t* bytes, size_t count) {
  // Words are read little-endian whatever the machine, so a journal written
  // on one machine is checked alike on another.
  uint64_t hash = seed ^ (static_cast<uint64_t>(count) * kPrime3);
  size_t i = 0;
  for (; i + 8 <= count; i += 8) {
    uint64_t word = 0;
    if constexpr (std::endian::native == std::endian::little) {
      std::memcpy(&word, bytes + i, sizeof word);  // one load on the common machines
    } else {
      for (int b = 7; b >= 0; --b) word = (word << 8) | bytes[i + static_cast<size_t>(b)];
    }
    hash ^= RotateLeft(word * kPrime2, 31) * kPrime1;
    hash = RotateLeft(hash, 27) * kPrime1 + kPrime3;
  }
  for (; i < count; ++i) {
    hash ^= bytes[i] * kPrime1;
    hash = RotateLeft(hash, 11) * kPrime2;
  }
  hash ^= hash >> 33;
  hash *= kPrime2;
  hash ^= hash >> 29;
  hash *= kPrime3;
  hash ^= hash >> 32;
  return hash;
}

bool HostFileFailure::Note(int code, const std::string& what) {
  if (code == 0) return true;
  if (error == 0) {
    error = code;
    action = what;
  }
  return false;
}

// --- the writer -------------------------------------------------------------------------

RollbackJournal::RollbackJournal(ParvexFileSystem* fileSystem, std::string path, bool sync)
    : mFileSystem(fileSystem), mPath(std::move(path)), mSync(sync) {}

RollbackJournal::~RollbackJournal() = default;

void RollbackJournal::Begin(const JournalHeader& header) {
  mHeader = header;
  mStarted = false;
  mHeaderBytes.assign(kJournalHeaderSize, 0);
  uint8_t* out = mHeaderBytes.data();
  std::memcpy(out + kJournalMagicOffset, kJournalMagic, sizeof kJournalMagic);
  PutU32(out + kJournalVersionOffset, kJournalVersion);
  PutU32(out + kJournalPageSizeOffset, header.pageSize);
  PutU64(out + kJournalNonceOffset, header.nonce);
  PutU64(out + kJournalOriginalLengthOffset, static_cast<uint64_t>(header.originalLength));
  PutU64(out + kJournalHeaderChecksumOffset, JournalChecksum(0, out, kJournalHeaderChecksumOffset));
  mChunksUsed = 0;
  std::vector<uint8_t>& chunk = ChunkWithRoom(mHeaderBytes.size());
  chunk.insert(chunk.end(), mHeaderBytes.begin(), mHeaderBytes.end());
  mQueueOffset = 0;
}

std::vector<uint8_t>& RollbackJournal::ChunkWithRoom(size_t bytes) {
  if (mChunksUsed > 0) {
    std::vector<uint8_t>& last = mQueue[mChunksUsed - 1];
    if (last.capacity() - last.size() >= bytes) return last;
  }
  if (mChunksUsed == mQueue.size()) mQueue.emplace_back();
  std::vector<uint8_t>& chunk = mQueue[mChunksUsed++];
  chunk.clear();
  chunk.reserve(std::max(kQueueChunkBytes, bytes));
  return chunk;
}

void RollbackJournal::Append(uint32_t pageNumber, const uint8_t* page) {
  // Appended piece by piece into a chunk with room for the whole record:
  // the queue's bytes are written once each and never moved.
  std::vector<uint8_t>& chunk = ChunkWithRoom(kJournalRecordOverhead + mHeader.pageSize);
  const size_t start = chunk.size();
  uint8_t head[kJournalRecordPageOffset] = {};
  PutU32(head + kJournalRecordPageNumberOffset, pageNumber);
  chunk.insert(chunk.end(), head, head + sizeof head);
  chunk.insert(chunk.end(), page, page + mHeader.pageSize);
  const size_t covered = kJournalRecordPageOffset + mHeader.pageSize;
  uint8_t checksum[kJournalRecordOverhead - kJournalRecordPageOffset];
  PutU64(checksum, JournalChecksum(mHeader.nonce, chunk.data() + start, covered));
  chunk.insert(chunk.end(), checksum, checksum + sizeof checksum);
}

bool RollbackJournal::Harden(HostFileFailure* failure) {
  if (mChunksUsed == 0) return true;
  const std::string name = "the journal file " + mPath;
  if (!mFile) {
    if (!failure->Note(mFileSystem->Open(mPath, ParvexFileSystem::OpenMode::kReadWriteCreate, &mFile),
                       "creating " + name)) {
      return false;
    }
    mFolderSynced = false;
  }
  // From here the header may be in the file, even if the write fails.
  mStarted = true;
  int64_t offset = mQueueOffset;
  for (size_t i = 0; i < mChunksUsed; ++i) {
    const std::vector<uint8_t>& chunk = mQueue[i];
    if (!failure->Note(mFile->Write(offset, chunk.data(), chunk.size()), "writing " + name)) return false;
    offset += static_cast<int64_t>(chunk.size());
  }
  if (mSync && !failure->Note(mFile->Sync(), "syncing " + name)) return false;
  // A new journal's name must survive a power loss as surely as its bytes.
  if (mSync && !mFolderSynced) {
    if (!failure->Note(mFileSystem->SyncFolder(mPath), "syncing the folder of " + name)) return false;
    mFolderSynced = true;
  }
  mQueueOffset = offset;
  mChunksUsed = 0;  // the chunks stay for the next records
  return true;
}

bool RollbackJournal::Invalidate(HostFileFailure* failure) {
  if (!mStarted || !mFile) return true;
  const std::string name = "the journal file " + mPath;
  static const uint8_t kZeros[kJournalHeaderSize] = {};
  if (!failure->Note(mFile->Write(0, kZeros, sizeof kZeros), "clearing " + name)) return false;
  if (mSync && !failure->Note(mFile->Sync(), "syncing " + name)) return false;
  mStarted = false;
  return true;
}

bool RollbackJournal::RestoreHeader(HostFileFailure* failure) {
  if (!mFile) return failure->Note(EIO, "rewriting the journal file " + mPath + " (it is not open)");
  const std::string name = "the journal file " + mPath;
  mStarted = true;
  if (!failure->Note(mFile->Write(0, mHeaderBytes.data(), mHeaderBytes.size()), "rewriting " + name)) return false;
  return !mSync || failure->Note(mFile->Sync(), "syncing " + name);
}

void RollbackJournal::Reset() {
  mChunksUsed = 0;
  mQueueOffset = 0;
  mStarted = false;
}

void RollbackJournal::Remove() {
  Reset();
  if (mFile) {
    mFile.reset();
    mFileSystem->Delete(mPath);
  }
}

// --- the reader -------------------------------------------------------------------------

int ReadJournalHeader(ParvexHostFile* journal, bool* live, JournalHeader* header) {
  *live = false;
  uint8_t bytes[kJournalHeaderChecksumOffset + 8];
  size_t got = 0;
  if (const int error = journal->Read(0, bytes, sizeof bytes, &got)) return error;
  if (got < sizeof bytes || std::memcmp(bytes + kJournalMagicOffset, kJournalMagic, sizeof kJournalMagic) != 0 ||
      GetU32(bytes + kJournalVersionOffset) != kJournalVersion ||
      GetU64(bytes + kJournalHeaderChecksumOffset) != JournalChecksum(0, bytes, kJournalHeaderChecksumOffset)) {
    return 0;
  }
  header->pageSize = GetU32(bytes + kJournalPageSizeOffset);
  header->nonce = GetU64(bytes + kJournalNonceOffset);
  const uint64_t length = GetU64(bytes + kJournalOriginalLengthOffset);
  if (!ValidPageSize(header->pageSize) || length > static_cast<uint64_t>(kMaxHostFileLength)) return 0;
  header->originalLength = static_cast<int64_t>(length);
  *live = true;
  return 0;
}

int ScanJournal(ParvexHostFile* journal, const JournalHeader& header,
                const std::function<int(uint32_t, const uint8_t*, int64_t)>& visit) {
  const size_t covered = kJournalRecordPageOffset + header.pageSize;
  std::vector<uint8_t> record(covered + 8);
  for (int64_t offset = kJournalHeaderSize;; offset += static_cast<int64_t>(record.size())) {
    size_t got = 0;
    if (const int error = journal->Read(offset, record.data(), record.size(), &got)) return error;
    if (got < record.size()) return 0;
    if (GetU64(record.data() + covered) != JournalChecksum(header.nonce, record.data(), covered)) return 0;
    const uint32_t page = GetU32(record.data() + kJournalRecordPageNumberOffset);
    if (static_cast<int64_t>(page) * header.pageSize >= header.originalLength) return 0;
    if (const int error = visit(page, record.data() + kJournalRecordPageOffset,
                                offset + static_cast<int64_t>(kJournalRecordPageOffset))) {
      return error;
    }
  }
}

bool PlayBackJournal(ParvexHostFile* journal, const JournalHeader& header, ParvexHostFile* database,
                     const std::string& databasePath, const std::string& journalPath, bool sync,
                     HostFileFailure* failure) {
  std::unordered_set<uint32_t> restored;
  int writeError = 0;
  const int scanError = ScanJournal(journal, header, [&](uint32_t page, const uint8_t* bytes, int64_t) {
    if (!restored.insert(page).second) return 0;
    const int64_t start = static_cast<int64_t>(page) * header.pageSize;
    const auto count = static_cast<size_t>(std::min<int64_t>(header.pageSize, header.originalLength - start));
    writeError = database->Write(start, bytes, count);
    return writeError;
  });
  if (writeError != 0) return failure->Note(writeError, "restoring the database file " + databasePath);
  if (!failure->Note(scanError, "reading the journal file " + journalPath)) return false;
  if (!failure->Note(database->Truncate(header.originalLength), "restoring the length of " + databasePath)) {
    return false;
  }
  return !sync || failure->Note(database->Sync(), "syncing the database file " + databasePath);
}

}  // namespace parvex
