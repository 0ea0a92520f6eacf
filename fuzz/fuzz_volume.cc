// Fuzz target: any bytes opened as a virtual volume.
//
// The input becomes a memory stream and is opened as a volume. The item tree
// is walked from the root (each item once, at most kMaxItems); every file is
// opened and read to its length, with a few seeks. Then the volume is changed
// the way the engine changes it (a file grows, a file is created, a file is
// deleted) and the result is opened and walked once more. Damaged input must
// only ever make operations fail.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_set>
#include <vector>

#include "platform/memory_stream.h"
#include "volume/vhfs_volume.h"
#include "volume/volume_format.h"

namespace {

using namespace parvex;

constexpr size_t kMaxInput = 1 << 20;
constexpr size_t kMaxItems = 256;
constexpr int32_t kMaxReadPerFile = 1 << 16;

// Walks the tree; returns the file items met (at most kMaxItems items in all).
std::vector<VFileRef> Walk(VHFSVolume& volume) {
  std::vector<VFileRef> files;
  std::vector<VFileRef> pending{volume.GetRoot()};
  std::unordered_set<uint32_t> seen;
  std::vector<uint8_t> buffer(4096);
  while (!pending.empty() && seen.size() < kMaxItems) {
    VFileRef ref = pending.back();
    pending.pop_back();
    if (ref.IsEmpty() || !seen.insert(ref.fileID).second) continue;
    volume.GetFileInfo(ref);
    volume.GetParent(ref);
    if (ref.type == kFolderType) {
      std::vector<VFileRef> children;
      volume.GetChildren(ref, &children);
      for (VFileRef& child : children) pending.push_back(std::move(child));
      continue;
    }
    files.push_back(ref);
    std::unique_ptr<VFile> file = volume.OpenFile(ref);
    if (!file) continue;
    int32_t total = 0;
    int32_t got = 0;
    while (total < kMaxReadPerFile && file->ReadData(buffer.data(), static_cast<int32_t>(buffer.size()), &got) &&
           got > 0) {
      total += got;
    }
    const int32_t length = file->GetLength();
    for (int32_t position : {0, length / 2, length, length + 1, 1 << 20}) {
      if (file->SeekFromStart(position)) file->ReadData(buffer.data(), 16, &got);
    }
  }
  return files;
}

// The flat layer on the first few file IDs, whatever the tree says.
void ReadFlatFiles(VFSVolume& flat) {
  std::vector<uint8_t> buffer(4096);
  for (uint32_t fileID = 0; fileID < 8; ++fileID) {
    const int16_t handle = flat.OpenFile(fileID);
    if (handle < 0) continue;
    for (int i = 0; i < 16; ++i) {
      double count = static_cast<double>(buffer.size());
      if (!flat.ReadFileData(handle, &count, buffer.data()) || count == 0) break;
    }
    flat.SetFilePosition(handle, 1000);
    flat.CloseFile(handle);
  }
}

void Change(VHFSVolume& volume, const std::vector<VFileRef>& files) {
  static const uint8_t kText[3000] = {1, 2, 3};
  ReadFlatFiles(*volume.FlatVolume());
  if (!files.empty()) {
    if (std::unique_ptr<VFile> file = volume.OpenFile(files.front())) {
      file->SeekFromStart(file->GetLength());
      file->WriteData(kText, sizeof kText);
      file->SeekFromStart(0);
      int32_t got = 0;
      uint8_t buffer[64];
      file->ReadData(buffer, sizeof buffer, &got);
    }
    volume.DeleteFile(files.back());
  }
  VFileRef root = volume.GetRoot();
  VFileRef made = volume.CreateFile(root, "fuzz", FourCharCode("BINA"));
  if (std::unique_ptr<VFile> file = volume.OpenFile(made)) file->WriteData(kText, 100);
  VFileRef folder = volume.CreateDirectory(root, "dir");
  volume.MoveFile(made, folder);
  VFileRef renamed = made;
  volume.SetFileName(&renamed, "renamed");
  volume.SetFileType(&renamed, FourCharCode("TEXT"));
  volume.FlatVolume()->DeleteFile(5);
  volume.FlushToDisk();
  // A map rebuilt from the blocks must serve as well as the stored one.
  volume.FlatVolume()->RebuildBlockMapFromScratch();
  ReadFlatFiles(*volume.FlatVolume());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size > kMaxInput) return 0;
  FileHandle stream;
  stream.Reset();
  if (size > 0) stream.WriteData(data, static_cast<int32_t>(size));
  {
    VHFSVolume volume(&stream, false);
    if (!volume.IsValid()) return 0;
    const std::vector<VFileRef> files = Walk(volume);
    Change(volume, files);
  }
  // What the volume wrote into damaged input must open and walk safely too.
  VHFSVolume again(&stream, false);
  if (again.IsValid()) Walk(again);
  return 0;
}
