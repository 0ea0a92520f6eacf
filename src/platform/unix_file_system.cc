// The operating system's file system: POSIX descriptors, pread/pwrite,
// fdatasync, flock.
//
// flock locks belong to the open file description, so a second open of the
// same file (in this process or another) is refused as it should be, and
// closing some other descriptor of the file does not drop the lock (as it
// would with classic fcntl locks).
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/file_system.h"

namespace parvex {

namespace {

int RetryInterrupted(int (*call)(int), int fd) {
  int result;
  do {
    result = call(fd);
  } while (result != 0 && errno == EINTR);
  return result == 0 ? 0 : errno;
}

int SyncDescriptor(int fd) {
#if defined(__linux__)
  // The data and the length (what reading the file back needs), not the times.
  return RetryInterrupted(::fdatasync, fd);
#else
  return RetryInterrupted(::fsync, fd);
#endif
}

class UnixHostFile final : public ParvexHostFile {
 public:
  explicit UnixHostFile(int fd) : mFd(fd) {}
  ~UnixHostFile() override { ::close(mFd); }  // releases the flock lock

  int Read(int64_t offset, void* buffer, size_t count, size_t* got) override {
    *got = 0;
    auto* out = static_cast<uint8_t*>(buffer);
    while (*got < count) {
      const ssize_t n = ::pread(mFd, out + *got, count - *got, static_cast<off_t>(offset + *got));
      if (n < 0) {
        if (errno == EINTR) continue;
        return errno;
      }
      if (n == 0) break;  // end of file
      *got += static_cast<size_t>(n);
    }
    return 0;
  }

  int Write(int64_t offset, const void* buffer, size_t count) override {
    if (offset < 0 || offset + static_cast<int64_t>(count) > kMaxHostFileLength) return EFBIG;
    const auto* in = static_cast<const uint8_t*>(buffer);
    size_t done = 0;
    while (done < count) {
      const ssize_t n = ::pwrite(mFd, in + done, count - done, static_cast<off_t>(offset + done));
      if (n < 0) {
        if (errno == EINTR) continue;
        return errno;
      }
      if (n == 0) return EIO;
      done += static_cast<size_t>(n);
    }
    return 0;
  }

  int Truncate(int64_t length) override {
    if (length < 0 || length > kMaxHostFileLength) return EFBIG;
    int result;
    do {
      result = ::ftruncate(mFd, static_cast<off_t>(length));
    } while (result != 0 && errno == EINTR);
    return result == 0 ? 0 : errno;
  }

  int GetSize(int64_t* length) override {
    struct stat info;
    if (::fstat(mFd, &info) != 0) return errno;
    *length = info.st_size;
    return 0;
  }

  int Sync() override { return SyncDescriptor(mFd); }

  int Lock(HostLockKind kind) override {
    const int operation = (kind == HostLockKind::kExclusive ? LOCK_EX : LOCK_SH) | LOCK_NB;
    int result;
    do {
      result = ::flock(mFd, operation);
    } while (result != 0 && errno == EINTR);
    if (result == 0) return 0;
    return errno == EAGAIN ? EWOULDBLOCK : errno;
  }

  int Unlock() override { return ::flock(mFd, LOCK_UN) == 0 ? 0 : errno; }

 private:
  int mFd;
};

std::string FolderOf(const std::string& path) {
  const size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

class UnixFileSystem final : public ParvexFileSystem {
 public:
  int Open(const std::string& path, OpenMode mode, std::unique_ptr<ParvexHostFile>* file) override {
    file->reset();
    if (path.empty() || path.find('\0') != std::string::npos) return EINVAL;
    int flags = mode == OpenMode::kReadOnly ? O_RDONLY : O_RDWR;
    if (mode == OpenMode::kReadWriteCreate) flags |= O_CREAT;
    // Non-blocking so that a FIFO can't stall the open; only regular files
    // are kept, for which the flag changes nothing.
    int fd;
    do {
      fd = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, 0666);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) return errno;
    struct stat info;
    int error = 0;
    if (::fstat(fd, &info) != 0) {
      error = errno;
    } else if (!S_ISREG(info.st_mode)) {
      error = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
    } else if (info.st_size > kMaxHostFileLength) {
      error = EFBIG;
    }
    if (error != 0) {
      ::close(fd);
      return error;
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    *file = std::make_unique<UnixHostFile>(fd);
    return 0;
  }

  int Delete(const std::string& path) override { return ::unlink(path.c_str()) == 0 ? 0 : errno; }

  int SyncFolder(const std::string& path) override {
    int fd;
    do {
      fd = ::open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) return errno;
    const int error = RetryInterrupted(::fsync, fd);
    ::close(fd);
    // Some file systems can't sync a folder; their folders need no sync.
    return error == EINVAL ? 0 : error;
  }
};

}  // namespace

ParvexFileSystem& OperatingSystemFileSystem() {
  static UnixFileSystem fileSystem;
  return fileSystem;
}

}  // namespace parvex
