// ParvexFileAccess: the data folder of a database file.
#include "storage/file_access.h"

#include <cerrno>
#include <cstring>


namespace parvex {

namespace {

string OpenFailure(const char* what, const string& path, int code) {
  return string("Error: Cannot ") + what + " database file " + path + ": " + std::strerror(code) + ".";
}

}  // namespace

ParvexStatus HostFailureStatus(const HostFileFailure& failure, const char* work, const char* consequence) {
  ParvexState state = kPXIOError;
  const char* what = "I/O error";
  if (failure.error == ENOSPC || failure.error == EDQUOT) {
    state = kPXDiskFull;
    what = "Disk full";
  } else if (failure.error == EFBIG) {
    state = kPXProgramLimitExceeded;
    what = "File too large";
  }
  std::string message = std::string("Error: ") + what + " while " + work;
  if (!failure.action.empty()) message += ": " + failure.action + " failed";
  message += std::string(" (") + std::strerror(failure.error) + ")";
  message += std::string("; ") + consequence + ".";
  return ParvexStatus(state, string(message));
}

ParvexFileAccess::~ParvexFileAccess() = default;

void ParvexFileAccess::ForgetVolume() {
  mVolume.reset();
  mDataFolder = VFileRef();
  mChildren.clear();
  mChildrenKnown = false;
}

bool ParvexFileAccess::CreateOrOpenDataFolder(const string& path, bool create, ParvexStatus* status) {
  HostFileOptions options;
  options.create = create;
  return CreateOrOpenDataFolder(path, options, status);
}

bool ParvexFileAccess::CreateOrOpenDataFolder(const string& path, const HostFileOptions& options,
                                              ParvexStatus* status) {
  ForgetVolume();
  mFile.reset();
  if (path.empty()) {
    SetStatus(status, kPXInvalidParameter, "Error: No database file given.");
    return false;
  }
  HostFileOptions fileOptions = options;
  fileOptions.create = options.create && !options.readOnly;
  HostFileFailure failure;
  mFile = JournaledFile::Open(path.str(), fileOptions, &failure);
  if (!mFile) {
    if (failure.error == EWOULDBLOCK) {
      SetStatus(status, kPXDatabaseLocked);
    } else if (failure.error == ENOENT && !fileOptions.create) {
      SetStatus(status, kPXInvalidParameter, string("Error: Database file ") + path + " not found.");
    } else if (failure.action.starts_with("opening the database file")) {
      SetStatus(status, kPXInvalidParameter, OpenFailure("open", path, failure.error));
    } else if (failure.action.starts_with("creating the database file")) {
      SetStatus(status, kPXInvalidParameter, OpenFailure("create", path, failure.error));
    } else {
      const std::string work = "opening " + path.str();
      if (status) *status = HostFailureStatus(failure, work.c_str(), "the database was not opened");
    }
    return false;
  }
  if (!OpenVolume(path, fileOptions.create, status)) {
    mFile.reset();
    return false;
  }
  return true;
}

bool ParvexFileAccess::OpenVolume(const string& path, bool create, ParvexStatus* status) {
  std::unique_ptr<VHFSVolume> volume;
  if (mFile->GetLength() == 0) {
    if (!create) {
      SetStatus(status, kPXDataException, string("Error: File ") + path + " is empty; it is not a database file.");
      return false;
    }
    volume = VHFSVolume::Create(mFile.get(), false);
    if (!volume || !volume->IsValid()) {
      SetStatus(status, kPXDataException, string("Error: Cannot write a new database into file ") + path + ".");
      return false;
    }
  } else {
    volume = std::make_unique<VHFSVolume>(mFile.get(), false);
    if (!volume->IsValid()) {
      SetStatus(status, kPXDataException, string("Error: File ") + path + " is not a database file.");
      return false;
    }
    if (!volume->FlatVolume()->EndsCleanly()) {
      SetStatus(status, kPXDataCorrupted,
                string("Error: Database file ") + path + " is damaged: it ends inside a block (it was cut short).");
      return false;
    }
  }
  VFileRef root = volume->GetRoot();
  if (root.type != kFolderType) {
    SetStatus(status, kPXDataException,
              string("Error: Database file ") + path + " is damaged: its root folder can't be read.");
    return false;
  }
  mVolume = std::move(volume);
  mDataFolder = root;
  return true;
}

bool ParvexFileAccess::Commit(HostFileFailure* failure) {
  if (!mFile) return true;
  if (mVolume && !mVolume->FlushToDisk() && !mFile->TransactionFailure().Failed()) {
    failure->Note(EIO, "saving the volume's block map");
    return false;
  }
  return mFile->Commit(failure);
}

bool ParvexFileAccess::Rollback(HostFileFailure* failure) {
  if (!mFile) return true;
  // The volume's unsaved state goes with it; its last writes are undone.
  mFile->DiscardWrites();
  ForgetVolume();
  if (!mFile->Rollback(failure)) return false;
  ParvexStatus status;
  if (!OpenVolume(string(mFile->Path()), false, &status)) {
    failure->Note(EIO, "reopening the volume of the database file " + mFile->Path());
    return false;
  }
  return true;
}

const std::vector<VFileRef>& ParvexFileAccess::Children() {
  if (!mChildrenKnown && mVolume) {
    mChildrenComplete = mVolume->GetChildren(mDataFolder, &mChildren);
    mChildrenKnown = true;
  }
  return mChildren;
}

const VFileRef* ParvexFileAccess::FindChild(const string& name) {
  for (const VFileRef& child : Children()) {
    if (child.name.CompareWithCase(name.Substring(0, kItemNameMaxLength)) == 0) return &child;
  }
  return nullptr;
}

bool ParvexFileAccess::RemoveItems(const string& name) {
  bool ok = true;
  bool removed = false;
  for (const VFileRef* child = FindChild(name); child; child = FindChild(name)) {
    const VFileRef victim = *child;
    // Unlinking reorders the folder's list: list it again afterwards.
    mChildrenKnown = false;
    if (!mVolume->DeleteFile(victim)) {
      ok = false;
      break;
    }
    removed = true;
  }
  mChildrenKnown = false;
  return ok && removed;
}

std::unique_ptr<RandomAccessMechanism> ParvexFileAccess::Prepare(std::unique_ptr<VFile> file, bool readOnly) {
  if (!file) return nullptr;
  file->SetReadOnly(readOnly);
  file->SetBigEndian();
  file->SetDoubleSwap(true);
  return file;
}

std::unique_ptr<RandomAccessMechanism> ParvexFileAccess::OpenFile(const string& name, bool create, bool readOnly) {
  if (!mVolume) return nullptr;
  if (const VFileRef* existing = FindChild(name)) {
    if (existing->type != kFolderType) return Prepare(mVolume->OpenFile(*existing), readOnly);
    if (!create || !RemoveItems(name)) return nullptr;
  } else if (!create) {
    return nullptr;
  }
  VFileRef ref = mVolume->CreateFile(mDataFolder, name, kParvexFileType);
  if (ref.IsEmpty()) {
    mChildrenKnown = false;  // a failure may have left a half-linked item
    return nullptr;
  }
  if (mChildrenKnown) mChildren.push_back(ref);
  return Prepare(mVolume->OpenFile(ref), readOnly);
}

bool ParvexFileAccess::CreateFile(const string& name) {
  if (!mVolume) return false;
  if (FindChild(name) && !RemoveItems(name)) return false;
  VFileRef ref = mVolume->CreateFile(mDataFolder, name, kParvexFileType);
  if (ref.IsEmpty()) {
    mChildrenKnown = false;
    return false;
  }
  if (mChildrenKnown) mChildren.push_back(ref);
  return true;
}

bool ParvexFileAccess::DeleteFile(const string& name) { return mVolume && RemoveItems(name); }

bool ParvexFileAccess::ContainsFile(const string& name) {
  if (!mVolume) return false;
  const VFileRef* child = FindChild(name);
  return child && child->type != kFolderType;
}

bool ParvexFileAccess::IsFolderComplete() {
  Children();
  return mVolume && mChildrenComplete;
}

bool ParvexFileAccess::FindFiles(const string& prefix, std::vector<string>* names) {
  names->clear();
  if (!mVolume) return false;
  for (const VFileRef& child : Children()) {
    if (child.type != kFolderType && child.name.view().starts_with(prefix.view())) names->push_back(child.name);
  }
  return mChildrenComplete;
}


}  // namespace parvex
