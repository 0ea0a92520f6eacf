// ParvexFileAccess: the database's named files.
//
// A database is one host file holding a virtual volume; the volume's root
// folder is the data folder, and every file the engine keeps (T.dat, T.map,
// T.<index>.idx) is an item in it. The file access owns the volume, and the
// volume owns the host file's stream. Streams handed out by OpenFile are
// owned by the caller, big-endian with double swapping on, and must be
// destroyed before the file access (if they are not, they are closed when it
// goes and every later operation on them fails).
//
// Names are matched byte for byte, case-sensitively; FindFiles lists the file
// items whose names start with the prefix (byte for byte), in the folder's
// list order. Folders are never listed nor opened as files. Item names keep
// their first 223 bytes, so longer names that share those bytes are the
// same name.
//
// Opening a database file: a missing or empty file becomes a new volume when
// creating is asked for; a non-empty file that is not a volume is refused and
// left untouched, and so is a volume whose blocks do not reach exactly to the
// end of the file (it was cut short). An existing file that exists but can't be opened (damaged,
// or too many open files) is never replaced by OpenFile, even when creating
// is asked for; only a missing name is created.
//
// The host file is a JournaledFile: everything written through the volume
// since the last Commit is one transaction of the host file, which Commit
// makes durable at once and Rollback undoes (the volume is then reopened
// from the file, so every stream handed out before is stale and must be
// destroyed first). Opening takes the file's lock (exclusive, or shared for
// a read-only open) and rolls back a transaction a crash left unfinished.
#pragma once

#include <memory>
#include <vector>

#include "core/status.h"
#include "platform/journaled_file.h"
#include "platform/parvex_string.h"
#include "platform/random_access.h"
#include "volume/vhfs_volume.h"
#include "volume/volume_format.h"

namespace parvex {

class ParvexFileAccess {
 public:
  // Type code of the engine's files: the "BINA" of the file type
  // "Prvx/BINA" (an item header has a type field only).
  static constexpr VFileType kParvexFileType = FourCharCode("BINA");

  ParvexFileAccess() = default;
  ParvexFileAccess(const ParvexFileAccess&) = delete;
  ParvexFileAccess& operator=(const ParvexFileAccess&) = delete;
  ~ParvexFileAccess();

  // Opens the database file at the host path `path` (creating a new volume
  // when `create` is set and the file is missing or 0 bytes long) and makes
  // its root folder the data folder. A volume already open is closed first.
  // Failures: kPXDatabaseLocked when another open holds the lock (after
  // options.lockTimeoutMs), kPXInvalidParameter for a file that can't be
  // opened, kPXDataException for one that holds no volume, kPXIOError (and
  // the like) when an unfinished transaction can't be rolled back.
  bool CreateOrOpenDataFolder(const string& path, bool create, ParvexStatus* status);
  bool CreateOrOpenDataFolder(const string& path, const HostFileOptions& options, ParvexStatus* status);
  bool IsOpen() const { return mVolume != nullptr; }
  bool ReadOnly() const { return mFile && mFile->ReadOnly(); }

  // The file named `name`, opened read-only when asked; when it is missing and
  // `create` is set, a new empty file of that name (any folder of that name
  // is removed first). Null on failure.
  std::unique_ptr<RandomAccessMechanism> OpenFile(const string& name, bool create, bool readOnly);
  // Removes every item of that name and creates an empty file.
  bool CreateFile(const string& name);
  // Removes every item of that name; false when there is none or one can't
  // be removed (open, or a folder with children).
  bool DeleteFile(const string& name);
  bool ContainsFile(const string& name);
  // False when an item of the data folder can't be read (so a name it does
  // not list may still be there, unreadable).
  bool IsFolderComplete();
  // Replaces `names` with the file names starting with `prefix`; false when
  // the folder could not be listed completely (the names found are kept).
  bool FindFiles(const string& prefix, std::vector<string>* names);
  // True when the host file was written since the last Commit or Rollback.
  bool InTransaction() const { return mFile && mFile->InTransaction(); }
  // Saves the block map and commits the host file. On failure nothing was
  // committed and the caller rolls back.
  bool Commit(HostFileFailure* failure);
  // Restores the host file as last committed and reopens the volume. When
  // the file can't be restored the volume stays closed (IsOpen() false) and
  // a later Rollback tries again.
  bool Rollback(HostFileFailure* failure);
  // Writes from now on will be rolled back: they stay in memory.
  void DiscardWrites() {
    if (mFile) mFile->DiscardWrites();
  }

  VHFSVolume* Volume() const { return mVolume.get(); }
  JournaledFile* HostFile() const { return mFile.get(); }

 private:
  // The data folder's children, listed once and kept up to date.
  const std::vector<VFileRef>& Children();
  const VFileRef* FindChild(const string& name);
  bool RemoveItems(const string& name);
  std::unique_ptr<RandomAccessMechanism> Prepare(std::unique_ptr<VFile> file, bool readOnly);

  bool OpenVolume(const string& path, bool create, ParvexStatus* status);
  void ForgetVolume();

  std::unique_ptr<JournaledFile> mFile;  // declared first: the volume goes first
  std::unique_ptr<VHFSVolume> mVolume;
  VFileRef mDataFolder;
  std::vector<VFileRef> mChildren;
  bool mChildrenKnown = false;
  bool mChildrenComplete = false;
};

// A status for a failed host-file operation: kPXDiskFull for ENOSPC,
// kPXProgramLimitExceeded for EFBIG, kPXIOError otherwise, with a message
// naming the work, what failed and the consequence, for example "Error: Disk
// full while committing: writing the journal file a.pvx-journal failed (No
// space left on device); nothing was committed."
ParvexStatus HostFailureStatus(const HostFileFailure& failure, const char* work, const char* consequence);

}  // namespace parvex
