// VHFSVolume: items, folders and their headers over the flat layer.
#include "volume/vhfs_volume.h"

#include <algorithm>
#include <cstring>
#include <unordered_set>

#include "platform/clock.h"
#include "volume/volume_format.h"

namespace parvex {

namespace {

// Content positions whose flat position fits in 32 bits.
constexpr double kMaxContentLength = static_cast<double>(INT32_MAX - kItemHeaderSize);

constexpr int64_t kSecondsPerDay = 86400;

// Days from 1970-01-01 to a date of the proleptic Gregorian calendar.
int64_t DaysSince1970(int64_t year, int64_t month, int64_t day) {
  year -= month <= 2;  // years counted from March, so leap days come last
  const int64_t era = (year >= 0 ? year : year - 399) / 400;
  const int64_t yearOfEra = year - era * 400;
  const int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

// The platform date's total seconds: whole seconds from 1970-01-01 00:00:00
// to the current local date and time; 0 when the platform has no time.
double CurrentTotalSeconds() {
  LocalDateTime now;
  if (!GetLocalDateTime(&now)) return 0;
  return static_cast<double>(DaysSince1970(now.year, now.month, now.day) * kSecondsPerDay + now.hour * 3600 +
                             now.minute * 60 + now.second);
}

bool IsStorableName(const string& name) {
  return !name.empty() && name.view().find('\0') == std::string_view::npos;
}

// A flat-layer handle on one item for the length of an operation, with
// positioned reads and writes of the header's fields.
class ItemHandle {
 public:
  ItemHandle(VFSVolume* volume, uint32_t fileID)
      : mVolume(volume), mHandle(fileID >= kFirstFileID ? volume->OpenFile(fileID) : -1) {}
  ItemHandle(const ItemHandle&) = delete;
  ItemHandle& operator=(const ItemHandle&) = delete;
  ~ItemHandle() {
    if (mHandle >= 0) mVolume->CloseFile(mHandle);
  }

  bool IsOpen() const { return mHandle >= 0; }
  // Gives the handle away (to a VFile).
  int16_t Release() {
    const int16_t handle = mHandle;
    mHandle = -1;
    return handle;
  }

  bool Seek(int64_t offset) { return IsOpen() && mVolume->SetFilePosition(mHandle, static_cast<double>(offset)); }
  bool ReadLong(int64_t offset, uint32_t* value) { return Seek(offset) && mVolume->ReadFileLong(mHandle, value); }
  bool ReadDouble(int64_t offset, double* value) { return Seek(offset) && mVolume->ReadFileDouble(mHandle, value); }
  bool WriteLong(int64_t offset, uint32_t value) { return Seek(offset) && mVolume->WriteFileLong(mHandle, value); }
  bool WriteDouble(int64_t offset, double value) { return Seek(offset) && mVolume->WriteFileDouble(mHandle, value); }
  // The next u32 at the current position.
  bool NextLong(uint32_t* value) { return mVolume->ReadFileLong(mHandle, value); }

  // The name field: the name's first 223 bytes, zero-padded to 224.
  bool WriteName(const string& name) {
    uint8_t field[kItemNameFieldSize] = {};
    std::memcpy(field, name.data(), std::min<size_t>(name.length(), kItemNameMaxLength));
    return Seek(kItemNameOffset) && mVolume->WriteFileData(mHandle, field, kItemNameFieldSize);
  }
  // The name up to its first zero byte (at most 223 bytes even when the
  // field holds none).
  bool ReadName(string* name) {
    char field[kItemNameFieldSize];
    double count = kItemNameFieldSize;
    if (!Seek(kItemNameOffset) || !mVolume->ReadFileData(mHandle, &count, field) || count != kItemNameFieldSize) {
      return false;
    }
    *name = string(field, strnlen(field, kItemNameMaxLength), kEncodingUTF8);
    return true;
  }

 private:
  VFSVolume* mVolume;
  int16_t mHandle;
};

// The child count of a folder, or 0 when it is more than its length can hold
// (a quarter of the length field).
uint32_t GuardedChildCount(uint32_t count, double length) { return count <= length / kFolderEntrySize ? count : 0; }

}  // namespace

VHFSVolume::VHFSVolume(std::unique_ptr<VFSVolume> volume) : mVolume(std::move(volume)) {}

VHFSVolume::VHFSVolume(RandomAccessMechanism* stream, bool ownsStream)
    : mVolume(std::make_unique<VFSVolume>(stream, ownsStream)) {}

VHFSVolume::~VHFSVolume() {
  // Files still open are closed first, while their volume still exists.
  std::unordered_set<VFile*> files = std::move(mOpenFiles);
  mOpenFiles.clear();
  for (VFile* file : files) {
    file->SetVirtVolObject(nullptr);
    file->Close();
  }
}

std::unique_ptr<VHFSVolume> VHFSVolume::Create(RandomAccessMechanism* stream, bool ownsStream) {
  std::unique_ptr<VFSVolume> flat = VFSVolume::Create(stream, ownsStream);
  if (!flat || !flat->IsValid()) return nullptr;
  std::unique_ptr<VHFSVolume> volume(new VHFSVolume(std::move(flat)));
  if (!volume->WriteRootFolder()) return nullptr;
  return volume;
}

bool VHFSVolume::WriteRootFolder() {
  if (mVolume->CreateFile() != kRootDirectoryIDnum) return false;
  ItemHandle root(mVolume.get(), kRootDirectoryIDnum);
  const double now = CurrentTotalSeconds();
  return root.WriteDouble(kItemLengthOffset, kEmptyFolderLength) && root.WriteLong(kItemTypeOffset, kFolderType) &&
         root.WriteLong(kItemParentOffset, kNoParentID) && root.WriteDouble(kItemCreatedOffset, now) &&
         root.WriteDouble(kItemModifiedOffset, now) && root.WriteName(string(kRootDirName)) &&
         root.WriteLong(kFolderCountOffset, 0);
}

bool VHFSVolume::ReadItemType(uint32_t fileID, VFileType* type) {
  ItemHandle item(mVolume.get(), fileID);
  return item.ReadLong(kItemTypeOffset, type);
}

VFileRef VHFSVolume::GetRoot() {
  VFileRef root;
  root.fileID = kRootDirectoryIDnum;
  LoadFileInfo(&root);
  return root;
}

bool VHFSVolume::LoadFileInfo(VFileRef* ref) {
  ref->type = 0;
  if (!IsValid()) return false;
  ItemHandle item(mVolume.get(), ref->fileID);
  VFileType type = 0;
  string name;
  if (!item.ReadLong(kItemTypeOffset, &type) || !item.ReadName(&name)) return false;
  ref->type = type;
  ref->name = name;
  return true;
}

VFileInfo VHFSVolume::GetFileInfo(const VFileRef& ref) {
  VFileInfo info;
  info.ref = ref;
  ItemHandle item(mVolume.get(), ref.fileID);
  if (!IsValid() || ref.IsEmpty() || !item.ReadDouble(kItemLengthOffset, &info.length) ||
      !item.ReadDouble(kItemCreatedOffset, &info.creationTime) ||
      !item.ReadDouble(kItemModifiedOffset, &info.modificationTime)) {
    info.ref.type = 0;
  }
  return info;
}

bool VHFSVolume::SetFileInfo(const VFileInfo& info) {
  if (!IsValid() || info.ref.IsEmpty()) return false;
  ItemHandle item(mVolume.get(), info.ref.fileID);
  return item.WriteDouble(kItemLengthOffset, info.length) &&
         item.WriteDouble(kItemCreatedOffset, info.creationTime) &&
         item.WriteDouble(kItemModifiedOffset, info.modificationTime);
}

VFileRef VHFSVolume::GetParent(const VFileRef& ref) {
  VFileRef parent;
  if (!IsValid()) return parent;
  ItemHandle item(mVolume.get(), ref.fileID);
  if (!item.ReadLong(kItemParentOffset, &parent.fileID)) return VFileRef();
  LoadFileInfo(&parent);
  return parent;
}

bool VHFSVolume::GetChildren(const VFileRef& folder, std::vector<VFileRef>* children) {
  children->clear();
  if (!IsValid() || folder.type != kFolderType) return false;
  std::vector<uint32_t> ids;
  bool complete = true;
  {
    ItemHandle item(mVolume.get(), folder.fileID);
    double length = 0;
    uint32_t count = 0;
    if (!item.ReadDouble(kItemLengthOffset, &length) || !item.ReadLong(kFolderCountOffset, &count)) return false;
    count = GuardedChildCount(count, length);
    // IDs arrive one by one: a count larger than the folder's blocks can
    // hold ends at the end of its chain, never in a huge allocation.
    for (uint32_t i = 0; i < count; ++i) {
      uint32_t id = 0;
      if (!item.NextLong(&id)) {
        complete = false;
        break;
      }
      ids.push_back(id);
    }
  }
  for (uint32_t id : ids) {
    VFileRef child;
    child.fileID = id;
    if (LoadFileInfo(&child)) {
      children->push_back(std::move(child));
    } else {
      complete = false;
    }
  }
  return complete;
}

VFileRef VHFSVolume::CreateFile(const VFileRef& parent, const string& name, VFileType type) {
  if (!IsValid() || parent.type != kFolderType || !IsStorableName(name) || type == 0 || type == kFolderType) {
    return VFileRef();
  }
  VFileType parentType = 0;
  if (!ReadItemType(parent.fileID, &parentType) || parentType != kFolderType) return VFileRef();
  VFileRef ref;
  ref.fileID = mVolume->CreateFile();
  if (ref.fileID == 0) return VFileRef();
  {
    ItemHandle item(mVolume.get(), ref.fileID);
    const double now = CurrentTotalSeconds();
    if (!item.WriteDouble(kItemLengthOffset, 0) || !item.WriteLong(kItemTypeOffset, type) ||
        !item.WriteLong(kItemParentOffset, parent.fileID) || !item.WriteDouble(kItemCreatedOffset, now) ||
        !item.WriteDouble(kItemModifiedOffset, now) || !item.WriteName(name)) {
      return VFileRef();
    }
  }
  if (!LoadFileInfo(&ref) || !LinkFile(ref, parent)) return VFileRef();
  return ref;
}

VFileRef VHFSVolume::CreateDirectory(const VFileRef& parent, const string& name) {
  VFileRef ref = CreateFile(parent, name, kTempFolderType);
  if (ref.IsEmpty()) return ref;
  ItemHandle item(mVolume.get(), ref.fileID);
  if (!item.WriteDouble(kItemLengthOffset, kEmptyFolderLength) || !item.WriteLong(kItemTypeOffset, kFolderType) ||
      !item.WriteLong(kFolderCountOffset, 0)) {
    return VFileRef();
  }
  ref.type = kFolderType;
  return ref;
}

bool VHFSVolume::LinkFile(const VFileRef& child, const VFileRef& folder) {
  if (!IsValid() || child.IsEmpty() || folder.type != kFolderType) return false;
  ItemHandle item(mVolume.get(), folder.fileID);
  uint32_t count = 0;
  if (!item.ReadLong(kFolderCountOffset, &count) || count == UINT32_MAX) return false;
  const uint64_t newCount = static_cast<uint64_t>(count) + 1;
  const int64_t slot = kFolderCountOffset + kFolderEntrySize * static_cast<int64_t>(newCount);
  return item.WriteLong(kFolderCountOffset, static_cast<uint32_t>(newCount)) && item.WriteLong(slot, child.fileID) &&
         item.WriteDouble(kItemLengthOffset, static_cast<double>(kFolderEntrySize * newCount + kFolderEntrySize));
}

bool VHFSVolume::UnlinkFile(const VFileRef& child, const VFileRef& folder) {
  if (!IsValid()) return false;
  ItemHandle item(mVolume.get(), folder.fileID);
  VFileType type = 0;
  double length = 0;
  uint32_t count = 0;
  if (!item.ReadLong(kItemTypeOffset, &type) || type != kFolderType || !item.ReadDouble(kItemLengthOffset, &length) ||
      !item.ReadLong(kFolderCountOffset, &count)) {
    return false;
  }
  count = GuardedChildCount(count, length);
  if (count == 0) return false;
  const int64_t lastSlot = kFolderCountOffset + kFolderEntrySize * static_cast<int64_t>(count);
  uint32_t last = 0;
  if (!item.ReadLong(lastSlot, &last)) return false;
  if (last != child.fileID) {
    // The first entry naming the child takes the last entry's ID. A child
    // that is not in the list is refused (decrementing the count anyway
    // would drop the last child).
    if (!item.Seek(kFolderListOffset)) return false;
    int64_t match = -1;
    for (uint32_t i = 0; i + 1 < count; ++i) {
      uint32_t id = 0;
      if (!item.NextLong(&id)) return false;
      if (id == child.fileID) {
        match = kFolderListOffset + kFolderEntrySize * static_cast<int64_t>(i);
        break;
      }
    }
    if (match < 0 || !item.WriteLong(match, last)) return false;
  }
  return item.WriteLong(kFolderCountOffset, count - 1);
}

bool VHFSVolume::DeleteFile(const VFileRef& ref) {
  if (!IsValid() || ref.IsEmpty() || ref.fileID == kRootDirectoryIDnum) return false;
  VFileRef current;
  current.fileID = ref.fileID;
  if (!LoadFileInfo(&current)) return false;
  if (current.type == kFolderType) {
    std::vector<VFileRef> children;
    if (!GetChildren(current, &children) || !children.empty()) return false;
  }
  const VFileRef parent = GetParent(current);
  if (parent.type != kFolderType) return false;
  return mVolume->DeleteFile(ref.fileID) && UnlinkFile(current, parent);
}

bool VHFSVolume::IsInsideFolder(uint32_t folderID, uint32_t itemID) {
  // Walks up from the folder; a damaged parent chain that loops stops at the
  // first ID seen twice.
  std::unordered_set<uint32_t> seen;
  for (uint32_t id = folderID; id != kNoParentID && seen.insert(id).second;) {
    if (id == itemID) return true;
    ItemHandle item(mVolume.get(), id);
    if (!item.ReadLong(kItemParentOffset, &id)) return false;
  }
  return false;
}

bool VHFSVolume::MoveFile(const VFileRef& ref, const VFileRef& newParent) {
  if (!IsValid() || ref.IsEmpty() || newParent.type != kFolderType) return false;
  uint32_t parentID = 0;
  {
    ItemHandle item(mVolume.get(), ref.fileID);
    if (!item.ReadLong(kItemParentOffset, &parentID)) return false;
  }
  if (parentID == newParent.fileID) return true;
  if (ref.type == kFolderType && IsInsideFolder(newParent.fileID, ref.fileID)) return false;
  VFileRef oldParent;
  oldParent.fileID = parentID;
  if (!LoadFileInfo(&oldParent) || !UnlinkFile(ref, oldParent) || !LinkFile(ref, newParent)) return false;
  ItemHandle item(mVolume.get(), ref.fileID);
  return item.WriteLong(kItemParentOffset, newParent.fileID);
}

std::unique_ptr<VFile> VHFSVolume::OpenFile(const VFileRef& ref) {
  if (!IsValid() || ref.IsEmpty() || ref.type == kFolderType) return nullptr;
  ItemHandle item(mVolume.get(), ref.fileID);
  VFileType type = 0;
  double length = 0;
  // The item itself must be a file, and its length one a stream can have.
  if (!item.ReadLong(kItemTypeOffset, &type) || type == 0 || type == kFolderType ||
      !item.ReadDouble(kItemLengthOffset, &length) || !(length >= 0 && length <= kMaxContentLength)) {
    return nullptr;
  }
  auto file = std::make_unique<VFile>(mVolume.get(), item.Release(), static_cast<int32_t>(length));
  file->SetVirtVolObject(this);
  mOpenFiles.insert(file.get());
  return file;
}

bool VHFSVolume::SetFileName(VFileRef* ref, const string& name) {
  if (!IsValid() || ref->IsEmpty() || !IsStorableName(name)) return false;
  ItemHandle item(mVolume.get(), ref->fileID);
  if (!item.WriteName(name)) return false;
  ref->name = name.Substring(0, kItemNameMaxLength);
  return true;
}

bool VHFSVolume::SetFileType(VFileRef* ref, VFileType type) {
  if (!IsValid() || ref->type == 0 || ref->type == kFolderType || type == 0 || type == kFolderType) return false;
  ItemHandle item(mVolume.get(), ref->fileID);
  VFileType current = 0;
  if (!item.ReadLong(kItemTypeOffset, &current) || current == kFolderType || !item.WriteLong(kItemTypeOffset, type)) {
    return false;
  }
  ref->type = type;
  return true;
}

}  // namespace parvex
