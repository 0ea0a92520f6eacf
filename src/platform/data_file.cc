// UnixDataFile: a host file read and written through a 64 KiB write-back window.
#include "platform/data_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

namespace parvex {

namespace {

// Window loads for reading start on a page boundary below the wanted offset,
// so a read just before the previous one (a block header before its data)
// still hits the window; a load for a random read is one page.
constexpr int64_t kWindowAlignment = 4096;
constexpr int64_t kMaxFileLength = INT32_MAX;
constexpr char kTemporaryFolder[] = "/tmp/";
constexpr char kAnonymousTemplate[] = "/tmp/parvex-XXXXXX";

bool HasEmbeddedNul(const string& text) { return text.view().find('\0') != std::string_view::npos; }

}  // namespace

std::unique_ptr<DataFile> DataFile::New() { return std::make_unique<UnixDataFile>(); }

UnixDataFile::~UnixDataFile() {
  if (mFd >= 0) Close();
}

bool UnixDataFile::Fail(int code) {
  SetLastError(code);
  return false;
}

void UnixDataFile::ResetState() {
  mFd = -1;
  mPath.clear();
  mWritable = false;
  mTemporarilyClosed = false;
  mLength = 0;
  mPosition = 0;
  mAtEOF = false;
  mWindowStart = 0;
  mWindowFill = 0;
  mDirtyBegin = mDirtyEnd = 0;
}

bool UnixDataFile::Adopt(int fd, bool writable) {
  struct stat info;
  if (fstat(fd, &info) != 0) {
    const int code = errno;
    ::close(fd);
    return Fail(code);
  }
  if (!S_ISREG(info.st_mode)) {
    ::close(fd);
    return Fail(S_ISDIR(info.st_mode) ? EISDIR : EINVAL);
  }
  if (info.st_size > kMaxFileLength) {
    ::close(fd);
    return Fail(EFBIG);
  }
  mFd = fd;
  mWritable = writable;
  mTemporarilyClosed = false;
  mLength = info.st_size;
  mAtEOF = false;
  mWindowStart = 0;
  mWindowFill = 0;
  mDirtyBegin = mDirtyEnd = 0;
  return true;
}

bool UnixDataFile::OpenPath(const std::string& path, int flags, bool writable) {
  // Non-blocking so that a FIFO can't stall the open; Adopt refuses
  // anything but a regular file, for which the flag changes nothing.
  int fd;
  do {
    fd = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, 0666);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return Fail(errno);
  if (!Adopt(fd, writable)) return false;
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
  mPath = path;
  return true;
}

bool UnixDataFile::Create(const string& path) {
  if (mFd >= 0) Close();
  ResetState();
  if (path.empty() || HasEmbeddedNul(path)) return Fail(EINVAL);
  return OpenPath(path.str(), O_RDWR | O_CREAT | O_TRUNC, true);
}

bool UnixDataFile::Open(const string& path, int32_t mode) {
  if (mode != kOpenReadOnly && mode != kOpenReadWrite) return Fail(EINVAL);
  if (mFd >= 0) Close();
  ResetState();
  if (path.empty() || HasEmbeddedNul(path)) return Fail(EINVAL);
  const bool writable = mode == kOpenReadWrite;
  return OpenPath(path.str(), writable ? O_RDWR : O_RDONLY, writable);
}

bool UnixDataFile::CreateTemporaryFile(const string& name) {
  if (mFd >= 0) Close();
  ResetState();
  if (name.empty()) {
    char path[sizeof kAnonymousTemplate];
    std::memcpy(path, kAnonymousTemplate, sizeof path);
    const int fd = mkstemp(path);
    if (fd < 0) return Fail(errno);
    ::unlink(path);  // the file lives on until its descriptor is closed
    if (fcntl(fd, F_SETFD, FD_CLOEXEC) != 0) {
      const int code = errno;
      ::close(fd);
      return Fail(code);
    }
    return Adopt(fd, true);
  }
  const std::string_view text = name.view();
  if (HasEmbeddedNul(name) || text.find('/') != std::string_view::npos || text == "." || text == "..") {
    return Fail(EINVAL);
  }
  return OpenPath(std::string(kTemporaryFolder) + std::string(text), O_RDWR | O_CREAT | O_TRUNC, true);
}

bool UnixDataFile::TemporaryClose() {
  if (mFd < 0) return Fail(EBADF);
  if (mPath.empty()) return Fail(EINVAL);  // anonymous: closing would destroy it
  if (!WriteBackWindow()) return false;
  const int result = ::close(mFd);
  mFd = -1;
  mTemporarilyClosed = true;
  DropWindow();
  if (result != 0) return Fail(errno);
  return true;
}

bool UnixDataFile::TemporaryReopen() {
  if (mFd >= 0) return true;
  if (!mTemporarilyClosed) return Fail(EBADF);
  const int64_t position = mPosition;
  if (!OpenPath(mPath, mWritable ? O_RDWR : O_RDONLY, mWritable)) return false;
  mPosition = position;
  return true;
}

bool UnixDataFile::Close() {
  if (mFd < 0) return Fail(EBADF);
  bool ok = WriteBackWindow();
  if (::close(mFd) != 0) ok = Fail(errno);
  const int32_t error = LastError();
  ResetState();
  SetLastError(error);
  return ok;
}

bool UnixDataFile::FlushBuffer() {
  if (mFd < 0) return Fail(EBADF);
  return WriteBackWindow();
}

bool UnixDataFile::SeekFromStart(int32_t offset) {
  if (mFd < 0) return Fail(EBADF);
  if (offset < 0) return Fail(EINVAL);
  mPosition = offset;
  mAtEOF = false;
  return true;
}

int32_t UnixDataFile::GetLength() {
  if (mFd < 0) {
    SetLastError(EBADF);
    return -1;
  }
  return static_cast<int32_t>(mLength);
}

int32_t UnixDataFile::GetPosition() {
  if (mFd < 0) {
    SetLastError(EBADF);
    return -1;
  }
  return static_cast<int32_t>(mPosition);
}

bool UnixDataFile::SetLength(int32_t length) {
  if (mFd < 0 || !mWritable) return Fail(EBADF);
  if (length < 0) return Fail(EINVAL);
  // Growing a file whose end lies in the window: the new bytes become zeros
  // in the window and go out with it, so appending block after block costs
  // no system call per block.
  const bool endInWindow = mWindow && mWindowFill > 0 && mWindowStart + mWindowFill == mLength;
  if (endInWindow && length - mWindowStart > kWindowSize && length - mLength <= kWindowSize - kWindowAlignment) {
    if (!SlideWindow()) return false;
  }
  if (endInWindow && length > mLength && length - mWindowStart <= kWindowSize) {
    const int32_t end = static_cast<int32_t>(length - mWindowStart);
    std::memset(mWindow.get() + mWindowFill, 0, static_cast<size_t>(end - mWindowFill));
    mDirtyBegin = mDirtyBegin == mDirtyEnd ? mWindowFill : std::min(mDirtyBegin, mWindowFill);
    mDirtyEnd = end;
    mWindowFill = end;
    mLength = length;
    return true;
  }
  if (!WriteBackWindow()) return false;
  int result;
  do {
    result = ::ftruncate(mFd, length);
  } while (result != 0 && errno == EINTR);
  if (result != 0) return Fail(errno);
  // Bytes of the window past the new end no longer exist.
  if (mWindowStart + mWindowFill > length) {
    mWindowFill = static_cast<int32_t>(std::max<int64_t>(0, length - mWindowStart));
  }
  mLength = length;
  return true;
}

bool UnixDataFile::EnsureWindowMemory() {
  if (mWindow) return true;
  mWindow.reset(new (std::nothrow) uint8_t[kWindowSize]);
  if (!mWindow) return Fail(ENOMEM);
  return true;
}

bool UnixDataFile::PositionedRead(uint8_t* buffer, int64_t count, int64_t offset, int64_t* got) {
  *got = 0;
  while (*got < count) {
    const ssize_t n = ::pread(mFd, buffer + *got, static_cast<size_t>(count - *got), offset + *got);
    if (n < 0) {
      if (errno == EINTR) continue;
      return Fail(errno);
    }
    if (n == 0) break;  // end of file
    *got += n;
  }
  return true;
}

bool UnixDataFile::PositionedWrite(const uint8_t* buffer, int64_t count, int64_t offset) {
  int64_t done = 0;
  while (done < count) {
    const ssize_t n = ::pwrite(mFd, buffer + done, static_cast<size_t>(count - done), offset + done);
    if (n < 0) {
      if (errno == EINTR) continue;
      return Fail(errno);
    }
    if (n == 0) return Fail(EIO);
    done += n;
  }
  return true;
}

bool UnixDataFile::WriteBackWindow() {
  if (mDirtyBegin == mDirtyEnd) return true;
  if (!PositionedWrite(mWindow.get() + mDirtyBegin, mDirtyEnd - mDirtyBegin, mWindowStart + mDirtyBegin)) {
    return false;  // the bytes stay dirty so a later flush can retry
  }
  mDirtyBegin = mDirtyEnd = 0;
  return true;
}

bool UnixDataFile::SlideWindow() {
  if (!WriteBackWindow()) return false;
  const int32_t keep = static_cast<int32_t>(std::min<int64_t>(kWindowAlignment, mWindowFill));
  std::memmove(mWindow.get(), mWindow.get() + (mWindowFill - keep), static_cast<size_t>(keep));
  mWindowStart += mWindowFill - keep;
  mWindowFill = keep;
  return true;
}

bool UnixDataFile::LoadWindow(int64_t offset) {
  if (!WriteBackWindow() || !EnsureWindowMemory()) return false;
  // Reading that runs on from the window (gaps of less than a page count,
  // as between the data areas of a volume's blocks) loads a whole window; a
  // jump elsewhere loads one page, so random small reads stay cheap.
  const int64_t previousEnd = mWindowStart + mWindowFill;
  const bool sequential = mWindowFill > 0 && offset >= previousEnd && offset - previousEnd < kWindowAlignment;
  const int64_t start = offset - offset % kWindowAlignment;
  int64_t got = 0;
  mWindowFill = 0;
  if (!PositionedRead(mWindow.get(), sequential ? kWindowSize : kWindowAlignment, start, &got)) return false;
  mWindowStart = start;
  mWindowFill = static_cast<int32_t>(got);
  return true;
}

bool UnixDataFile::ReadData(void* buffer, int32_t count, int32_t* bytesRead) {
  if (bytesRead) *bytesRead = 0;
  if (mFd < 0) return Fail(EBADF);
  if (count < 0) return Fail(EINVAL);
  uint8_t* out = static_cast<uint8_t*>(buffer);
  int64_t done = 0;
  bool ok = true;
  while (done < count) {
    if (mPosition >= mLength) {
      mAtEOF = true;
      break;
    }
    const int64_t want = std::min<int64_t>(count - done, mLength - mPosition);
    const int64_t windowEnd = mWindowStart + mWindowFill;
    if (mWindowFill > 0 && mPosition >= mWindowStart && mPosition < windowEnd) {
      const int64_t n = std::min(want, windowEnd - mPosition);
      std::memcpy(out + done, mWindow.get() + (mPosition - mWindowStart), static_cast<size_t>(n));
      done += n;
      mPosition += n;
      continue;
    }
    if (want >= kWindowSize) {
      // A large read goes straight into the caller's buffer, after any dirty
      // bytes it may cover have reached the file.
      int64_t got = 0;
      if (!WriteBackWindow() || !PositionedRead(out + done, want, mPosition, &got)) {
        ok = false;
        break;
      }
      done += got;
      mPosition += got;
      if (got < want) {
        mAtEOF = true;
        break;
      }
      continue;
    }
    if (!LoadWindow(mPosition)) {
      ok = false;
      break;
    }
    if (mPosition >= mWindowStart + mWindowFill) {  // the file is shorter than expected
      mAtEOF = true;
      break;
    }
  }
  if (bytesRead) *bytesRead = static_cast<int32_t>(done);
  return ok && done > 0;
}

bool UnixDataFile::WriteData(const void* buffer, int32_t count) {
  if (mFd < 0 || !mWritable) return Fail(EBADF);
  if (count < 0) return Fail(EINVAL);
  if (mPosition + count > kMaxFileLength) return Fail(EFBIG);
  const uint8_t* in = static_cast<const uint8_t*>(buffer);
  int64_t done = 0;
  while (done < count) {
    const int64_t remaining = count - done;
    const int64_t relative = mPosition - mWindowStart;
    // The window takes bytes that continue or overwrite its valid part.
    if (mWindow && relative >= 0 && relative <= mWindowFill && relative < kWindowSize) {
      const int64_t n = std::min<int64_t>(remaining, kWindowSize - relative);
      std::memcpy(mWindow.get() + relative, in + done, static_cast<size_t>(n));
      const int32_t begin = static_cast<int32_t>(relative);
      const int32_t end = static_cast<int32_t>(relative + n);
      if (mDirtyBegin == mDirtyEnd) {
        mDirtyBegin = begin;
        mDirtyEnd = end;
      } else {
        mDirtyBegin = std::min(mDirtyBegin, begin);
        mDirtyEnd = std::max(mDirtyEnd, end);
      }
      mWindowFill = std::max(mWindowFill, end);
      done += n;
      mPosition += n;
      mLength = std::max(mLength, mPosition);
      continue;
    }
    if (mWindow && relative == kWindowSize && mWindowFill == kWindowSize) {
      // Writing runs on past a full window: keep its last page, so that a
      // write just behind (a block header before its data) still hits.
      if (!SlideWindow()) return false;
      continue;
    }
    if (!WriteBackWindow()) return false;
    if (remaining >= kWindowSize) {
      if (!PositionedWrite(in + done, remaining, mPosition)) return false;
      // The window is clean now; drop it when the write covered part of it.
      if (mPosition < mWindowStart + mWindowFill && mPosition + remaining > mWindowStart) DropWindow();
      done += remaining;
      mPosition += remaining;
      mLength = std::max(mLength, mPosition);
      continue;
    }
    if (!EnsureWindowMemory()) return false;
    mWindowStart = mPosition;  // a fresh, empty window starting here
    mWindowFill = 0;
  }
  mAtEOF = false;
  return true;
}

}  // namespace parvex
