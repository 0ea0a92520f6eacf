// VHFSVolume: the hierarchical layer of a virtual volume: folders and named
// files (items) over the flat layer.
//
// Every item is one flat file whose first 256 bytes are its item header
// (content length, type, parent, times, name: see volume_format.h). A folder's
// content is a child count and the children's file IDs. The root folder is
// file 2, named "/". Numbers in item headers and folder lists follow the
// volume version's data byte order.
//
// References (`VFileRef`) carry an item's ID, name and type; a reference of
// type 0 is empty, and operations that fail return an empty one. Nothing read
// from the file is trusted: counts are checked against lengths, chains are
// checked link by link, so a damaged volume makes operations fail instead of
// crashing. Creation and modification times are the platform clock's local
// date and time as whole seconds from 1970-01-01 00:00:00.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_set>
#include <vector>

#include "platform/parvex_string.h"
#include "platform/random_access.h"
#include "volume/vfile.h"
#include "volume/vfs_volume.h"

namespace parvex {

using VFileType = uint32_t;

struct VFileRef {
  uint32_t fileID = 0;
  string name;
  VFileType type = 0;
  bool IsEmpty() const { return type == 0; }
};

struct VFileInfo {
  VFileRef ref;
  double creationTime = 0;
  double modificationTime = 0;
  double length = 0;  // content bytes after the item header
};

class VHFSVolume {
 public:
  // A new volume with its root folder; null (having destroyed what it built)
  // when the volume can't be written.
  static std::unique_ptr<VHFSVolume> Create(RandomAccessMechanism* stream, bool ownsStream);
  // Opens an existing volume; see IsValid.
  VHFSVolume(RandomAccessMechanism* stream, bool ownsStream);
  VHFSVolume(const VHFSVolume&) = delete;
  VHFSVolume& operator=(const VHFSVolume&) = delete;
  // Closes the files still open on it, then the volume.
  ~VHFSVolume();

  bool IsValid() const { return mVolume && mVolume->IsValid(); }
  VFSVolume* FlatVolume() const { return mVolume.get(); }
  bool FlushToDisk() { return IsValid() && mVolume->FlushToDisk(); }

  VFileRef GetRoot();
  // Fills the reference's type and name from its item header.
  bool LoadFileInfo(VFileRef* ref);
  // Length and times; the info's reference is empty on failure.
  VFileInfo GetFileInfo(const VFileRef& ref);
  bool SetFileInfo(const VFileInfo& info);
  VFileRef GetParent(const VFileRef& ref);
  // The children of a folder in list order. False when the list can't be
  // read or a child can't be loaded (the children that could are returned).
  bool GetChildren(const VFileRef& folder, std::vector<VFileRef>* children);
  // Names keep their first 223 bytes; empty names, names holding a zero
  // byte, type 0 and the folder type are refused.
  VFileRef CreateFile(const VFileRef& parent, const string& name, VFileType type);
  VFileRef CreateDirectory(const VFileRef& parent, const string& name);
  bool LinkFile(const VFileRef& child, const VFileRef& folder);
  // Removes the child's ID from the folder's list: the last entry moves into
  // its place and the folder's length field stays as it was.
  bool UnlinkFile(const VFileRef& child, const VFileRef& folder);
  // Refuses the root, folders with children and open files.
  bool DeleteFile(const VFileRef& ref);
  // Refuses moving a folder into itself or below itself.
  bool MoveFile(const VFileRef& ref, const VFileRef& newParent);
  // A stream over a file item's content; null for folders and on failure.
  std::unique_ptr<VFile> OpenFile(const VFileRef& ref);
  bool SetFileName(VFileRef* ref, const string& name);
  bool SetFileType(VFileRef* ref, VFileType type);

  // Called by a VFile when it closes.
  void ForgetFile(VFile* file) { mOpenFiles.erase(file); }

 private:
  explicit VHFSVolume(std::unique_ptr<VFSVolume> volume);
  bool WriteRootFolder();
  bool ReadItemType(uint32_t fileID, VFileType* type);
  // Reads `count` IDs of a folder list starting at entry `first`.
  bool ReadFolderEntries(int16_t handle, uint64_t first, uint64_t count, std::vector<uint32_t>* ids);
  bool IsInsideFolder(uint32_t folderID, uint32_t itemID);

  std::unique_ptr<VFSVolume> mVolume;
  std::unordered_set<VFile*> mOpenFiles;
};

}  // namespace parvex
