// DataFile: a RandomAccessMechanism over a file of the host file system.
//
// `DataFile` adds the operations of a named disk file to the stream interface;
// `DataFile::New()` makes the platform's implementation, `UnixDataFile`.
// Offsets and lengths are signed 32-bit: a file longer than 2 GiB - 1 is
// refused when opened, and a write or SetLength that would pass that bound
// fails with EFBIG. Every failing call stores the operating system's error
// number (or EBADF, EINVAL, EFBIG for misuse) in LastError().
//
// `UnixDataFile` keeps its own 64 KiB window over a file descriptor and moves
// data with pread/pwrite, so small reads and writes cost no system call. The
// window is write-back: written bytes stay in memory until a read or write
// outside the window, a SetLength, FlushBuffer/FlushToDisk, TemporaryClose or
// Close writes them out. Flushing hands the bytes to the operating system; it
// does not force them onto the disk.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/parvex_string.h"
#include "platform/random_access.h"

namespace parvex {

class DataFile : public RandomAccessMechanism {
 public:
  // Modes of Open().
  static constexpr int32_t kOpenReadOnly = 1;
  static constexpr int32_t kOpenReadWrite = 3;

  // The platform's implementation (a UnixDataFile), not yet open.
  static std::unique_ptr<DataFile> New();

  // Creates the file, or empties an existing one, and opens it read-write.
  virtual bool Create(const string& path) = 0;
  // Opens an existing file: mode 1 read-only, mode 3 read-write; any other
  // mode fails with EINVAL.
  virtual bool Open(const string& path, int32_t mode) = 0;
  // An empty name gives an anonymous file that disappears when closed; any
  // other name creates (or empties) "/tmp/" + name. Names holding '/' and the
  // names "." and ".." are refused.
  virtual bool CreateTemporaryFile(const string& name) = 0;
  // Writes out buffered bytes and gives the descriptor back to the system;
  // TemporaryReopen opens the same path again in the same mode, keeping the
  // position. An anonymous file can't be closed temporarily (it would vanish).
  virtual bool TemporaryClose() = 0;
  virtual bool TemporaryReopen() = 0;
  // Hands buffered bytes to the operating system.
  virtual bool FlushBuffer() = 0;
};

class UnixDataFile final : public DataFile {
 public:
  static constexpr int32_t kWindowSize = 64 * 1024;

  UnixDataFile() = default;
  ~UnixDataFile() override;

  // True when at least one byte was read and no error occurred; a read that
  // stops at the end of the file sets the end-of-file indicator.
  bool ReadData(void* buffer, int32_t count, int32_t* bytesRead) override;
  // True when all bytes were written (a count of 0 writes nothing and succeeds).
  bool WriteData(const void* buffer, int32_t count) override;
  // Flushes, then closes; true when both succeeded.
  bool Close() override;
  bool IsEOF() override { return mAtEOF; }
  // Any offset from 0 up; a later write past the end leaves a zero-filled gap.
  bool SeekFromStart(int32_t offset) override;
  int32_t GetLength() override;
  // Truncates or zero-extends the file; the position stays where it was.
  bool SetLength(int32_t length) override;
  int32_t GetPosition() override;
  bool FlushToDisk() override { return FlushBuffer(); }

  bool Create(const string& path) override;
  bool Open(const string& path, int32_t mode) override;
  bool CreateTemporaryFile(const string& name) override;
  bool TemporaryClose() override;
  bool TemporaryReopen() override;
  bool FlushBuffer() override;

  bool IsOpen() const { return mFd >= 0; }
  const std::string& Path() const { return mPath; }

 private:
  // Opens `path` with `flags`; on success adopts the descriptor.
  bool OpenPath(const std::string& path, int flags, bool writable);
  // Takes an open descriptor: checks it is a file of at most 2 GiB - 1 bytes.
  bool Adopt(int fd, bool writable);
  void ResetState();
  bool Fail(int code);
  // Writes the dirty bytes of the window; the window stays valid.
  bool WriteBackWindow();
  // Writes the window back and moves it forward, keeping its last page.
  bool SlideWindow();
  // Makes the window start at `offset`, loading up to kWindowSize bytes.
  bool LoadWindow(int64_t offset);
  void DropWindow() { mWindowFill = 0; }
  bool EnsureWindowMemory();
  // Whole-range transfers that retry after EINTR and short counts.
  bool PositionedRead(uint8_t* buffer, int64_t count, int64_t offset, int64_t* got);
  bool PositionedWrite(const uint8_t* buffer, int64_t count, int64_t offset);

  int mFd = -1;
  std::string mPath;     // empty for an anonymous temporary file
  bool mWritable = false;
  bool mTemporarilyClosed = false;
  int64_t mLength = 0;   // logical length: the file plus bytes still in the window
  int64_t mPosition = 0;
  bool mAtEOF = false;

  // The window holds bytes [mWindowStart, mWindowStart + mWindowFill) of the
  // logical file; [mDirtyBegin, mDirtyEnd) of it (relative offsets) still has
  // to be written.
  std::unique_ptr<uint8_t[]> mWindow;
  int64_t mWindowStart = 0;
  int32_t mWindowFill = 0;
  int32_t mDirtyBegin = 0;
  int32_t mDirtyEnd = 0;
};

// Closes the file it holds when it goes out of scope (it does not delete it).
class DataFileCleaner {
 public:
  explicit DataFileCleaner(DataFile* file) : mFile(file) {}
  DataFileCleaner(const DataFileCleaner&) = delete;
  DataFileCleaner& operator=(const DataFileCleaner&) = delete;
  ~DataFileCleaner() {
    if (mFile) mFile->Close();
  }
  // Stops guarding and returns the file.
  DataFile* Release() {
    DataFile* file = mFile;
    mFile = nullptr;
    return file;
  }

 private:
  DataFile* mFile;
};

}  // namespace parvex
