// JournaledFile: the transaction: spilling pages, commit and rollback.
//
// Order of writes (each step starts only when the one before succeeded):
// journal records written and synced -> pages and length of the database
// file written -> database file synced (at commit) -> journal header cleared
// and synced (the commit point). A page never reaches the database file
// before its original is safe in the journal.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "platform/journaled_file.h"

namespace parvex {

namespace {

constexpr int64_t kPage = JournaledFile::kPageSize;
// Consecutive pages go out in one write of up to this many pages.
constexpr size_t kMaxRunPages = 64;

}  // namespace

uint64_t JournaledFile::NextNonce() {
  // splitmix64 over a randomly seeded state: a new number per transaction.
  uint64_t z = (mNonceState += 0x9E3779B97F4A7C15ULL);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
  return z ^ (z >> 31);
}

void JournaledFile::BeginTransaction() {
  mInTransaction = true;
  mOriginalLength = mLength;
  mOriginalPages = static_cast<uint32_t>((mLength + kPage - 1) / kPage);
  mJournaled.clear();
  mFileTouched = false;
  mFailure = HostFileFailure();
  mJournal->Begin(JournalHeader{kPageSize, NextNonce(), mOriginalLength});
}

void JournaledFile::EndTransaction() {
  mInTransaction = false;
  mJournaled.clear();
  mFileTouched = false;
  mDiscarding = false;
  mFailure = HostFileFailure();
  mJournal->Reset();
}

bool JournaledFile::WritePageRun(const std::vector<uint32_t>& numbers, size_t first, size_t count) {
  // A long run goes out in pieces through one buffer small enough to be
  // reused by the allocator (a large one would be fresh memory every time).
  constexpr size_t kPiecePages = 16;
  std::unique_ptr<uint8_t[]> staging;
  for (size_t done = 0; done < count;) {
    const size_t piece = std::min(count - done, kPiecePages);
    const int64_t start = static_cast<int64_t>(numbers[first + done]) * kPage;
    // The last page of the file goes out only up to the file's length.
    const int64_t bytes = std::min<int64_t>(static_cast<int64_t>(piece) * kPage, mLength - start);
    if (bytes <= 0) return true;
    const uint8_t* source;
    if (piece == 1) {
      source = mPages[numbers[first + done]].bytes;
    } else {
      if (!staging) staging.reset(new uint8_t[kPiecePages * kPageSize]);
      for (size_t i = 0; i < piece; ++i) {
        std::memcpy(staging.get() + i * kPageSize, mPages[numbers[first + done + i]].bytes, kPageSize);
      }
      source = staging.get();
    }
    if (!mFailure.Note(mFile->Write(start, source, static_cast<size_t>(bytes)), "writing the database file " + mPath)) {
      return false;
    }
    mFileSize = std::max(mFileSize, start + bytes);
    done += piece;
  }
  return true;
}

bool JournaledFile::WritePages() {
  if (mFailure.Failed()) return false;  // a failed transaction never reaches the file
  if (!mJournal->Harden(&mFailure)) return false;
  mFileTouched = true;
  if (mReadableEnd < mFileSize) {
    if (!mFailure.Note(mFile->Truncate(mReadableEnd), "cutting the database file " + mPath)) return false;
    mFileSize = mReadableEnd;
  }
  std::vector<uint32_t> numbers;
  numbers.reserve(mDirtyPages);
  for (const auto& [number, page] : mPages) {
    if (page.dirty) numbers.push_back(number);
  }
  std::sort(numbers.begin(), numbers.end());
  for (size_t first = 0; first < numbers.size();) {
    size_t count = 1;
    while (first + count < numbers.size() && count < kMaxRunPages &&
           numbers[first + count] == numbers[first] + count) {
      ++count;
    }
    if (!WritePageRun(numbers, first, count)) return false;
    first += count;
  }
  for (uint32_t number : numbers) mPages[number].dirty = false;
  mDirtyPages = 0;
  mReadableEnd = mLength;
  return true;
}

bool JournaledFile::Commit(HostFileFailure* failure) {
  if (mNeedsRestore) {
    failure->Note(EIO, "restoring the database file " + mPath + " after an earlier failure");
    return false;
  }
  if (!mInTransaction) return true;
  const bool changed = mDirtyPages > 0 || mFileTouched || mLength != mFileSize || mReadableEnd < mFileSize;
  if (changed) {
    if (!WritePages()) {
      *failure = mFailure;
      return false;
    }
    if (mFileSize != mLength &&
        !mFailure.Note(mFile->Truncate(mLength), "setting the length of the database file " + mPath)) {
      *failure = mFailure;
      return false;
    }
    mFileSize = mLength;
    if (mSync && !mFailure.Note(mFile->Sync(), "syncing the database file " + mPath)) {
      *failure = mFailure;
      return false;
    }
    // The commit point.
    if (!mJournal->Invalidate(&mFailure)) {
      *failure = mFailure;
      return false;
    }
  } else if (mFailure.Failed()) {
    *failure = mFailure;
    return false;
  }
  EndTransaction();
  mReadableEnd = mLength;
  return true;
}

bool JournaledFile::RestoreFromJournal(HostFileFailure* failure) {
  // The header goes back first: should the restore stop half-way, the
  // journal must still be live for the next attempt or the next open.
  return mJournal->RestoreHeader(failure) &&
         PlayBackJournal(mJournal->File(), mJournal->Header(), mFile.get(), mPath, mJournal->Path(), mSync,
                         failure) &&
         mJournal->Invalidate(failure);
}

bool JournaledFile::Rollback(HostFileFailure* failure) {
  mDiscarding = false;
  if (mReadOnly) {
    DropAllPages();
    return true;
  }
  if (!mInTransaction && !mNeedsRestore) return true;
  DropAllPages();
  if (mFileTouched || mNeedsRestore) {
    HostFileFailure restore;
    if (!RestoreFromJournal(&restore)) {
      mNeedsRestore = true;
      *failure = restore;
      return false;
    }
  } else {
    // The file never received a page; a header that may have reached the
    // journal would only restore what the file holds. Clearing it is tidy,
    // not needed.
    HostFileFailure ignored;
    mJournal->Invalidate(&ignored);
  }
  mNeedsRestore = false;
  mFileSize = mOriginalLength;
  mLength = mOriginalLength;
  mReadableEnd = mLength;
  EndTransaction();
  return true;
}

}  // namespace parvex
