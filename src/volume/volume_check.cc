// CheckVolume: blocks, chains, the block map, items and folders.
#include "volume/volume_check.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <set>
#include <unordered_map>

#include "volume/volume_format.h"

namespace parvex {

namespace {

std::string Num(uint64_t n) { return std::to_string(n); }

std::string Offset(int64_t offset) { return "offset " + Num(static_cast<uint64_t>(offset)); }

// A length field as read (an f64 that should hold a whole number).
std::string Length(double length) {
  if (length >= 0 && length <= 1e15 && length == std::floor(length)) return Num(static_cast<uint64_t>(length));
  return std::to_string(length);
}

struct ItemInfo {
  std::string name;
  uint32_t type = 0;
  uint32_t parent = 0;
  double length = 0;
  bool headerRead = false;
  bool lengthFits = false;
};

class VolumeChecker {
 public:
  VolumeChecker(const VolumeScan& scan, CheckReport* report) : mScan(scan), mReport(*report) {}

  void Run(std::vector<VolumeItem>* rootFiles) {
    CheckBlocks();
    CheckChains();
    CheckBlockMap();
    ReadItems();
    CheckFolders(rootFiles);
    mReport.blocks += mScan.Blocks().size();
    for (const auto& [kind, count] : mRepeats) {
      if (count > kDetailLines) Problem(Num(count - kDetailLines) + " more like \"" + kind + "\"");
    }
  }

 private:
  // Lines of one kind beyond this many are summed up in one more line.
  static constexpr size_t kDetailLines = 5;

  void Problem(const std::string& text) { mReport.Problem("volume: " + text); }
  // A problem that may come once per block or entry: the first few of its
  // kind are shown.
  void Repeated(const std::string& kind, const std::string& text) {
    if (mRepeats[kind]++ < kDetailLines) Problem(text);
  }

  std::string FileLabel(uint32_t fileID) const {
    const auto item = mItems.find(fileID);
    if (item == mItems.end() || item->second.name.empty()) return "file " + Num(fileID);
    return "file " + Num(fileID) + " (" + item->second.name + ")";
  }

  void CheckBlocks() {
    for (const ScanGap& gap : mScan.Gaps()) {
      Problem("no block starts at " + Offset(gap.start) + " (" + Num(static_cast<uint64_t>(gap.end - gap.start)) +
              " bytes hold no block)");
    }
    for (const ScannedBlock& block : mScan.Blocks()) {
      if (block.truncated) {
        Problem("the file ends inside the block at " + Offset(block.start) + " (" + Num(block.size) +
                " bytes long, " + Num(static_cast<uint64_t>(mScan.Length() - block.start)) + " are there)");
      } else if (!block.endMark) {
        Repeated("a block has no end mark", "the block at " + Offset(block.start) + " has no end mark");
      }
    }
    const long first = mScan.BlockAt(kFirstBlockStart);
    const ScannedBlock* block = first >= 0 ? &mScan.Blocks()[static_cast<size_t>(first)] : nullptr;
    if (!block || block->fileID != kBlockMapFileID || block->sequence != 0 || block->size < kFirstBlockMinimumSize) {
      Problem("the first block is not the start of the block map (file 1)");
    }
    for (size_t index : mScan.Duplicates()) {
      const ScannedBlock& dup = mScan.Blocks()[index];
      Problem("the block at " + Offset(dup.start) + " is block " + Num(dup.sequence) + " of file " +
              Num(dup.fileID) + ", which another block is already");
    }
  }

  void CheckChains() {
    for (const auto& [fileID, sequences] : mScan.Sequences()) {
      const auto first = sequences.find(0);
      if (first == sequences.end()) {
        Problem("file " + Num(fileID) + " has " + Num(sequences.size()) + " blocks but no first block");
        continue;
      }
      size_t reached = 1;
      const ScannedBlock* block = &mScan.Blocks()[first->second];
      while (block->next != 0 && !block->truncated) {
        const std::string from = "block " + Num(block->sequence) + " of file " + Num(fileID) + " (at " +
                                 Offset(block->start) + ")";
        const long target = block->next == std::floor(block->next) && block->next > 0 && block->next <= INT32_MAX
                                ? mScan.BlockAt(static_cast<int64_t>(block->next))
                                : -1;
        if (target < 0) {
          Problem(from + " links to a place where no block starts");
          break;
        }
        const ScannedBlock& next = mScan.Blocks()[static_cast<size_t>(target)];
        if (next.fileID != fileID || next.sequence != block->sequence + 1) {
          Problem(from + " links to " + Offset(next.start) + ", which is block " + Num(next.sequence) +
                  " of file " + Num(next.fileID));
          break;
        }
        block = &next;
        ++reached;
      }
      mChainCapacity[fileID] = mScan.ReachableData(fileID);
      if (reached < sequences.size()) {
        Problem("file " + Num(fileID) + " has " + Num(sequences.size() - reached) +
                " blocks its chain does not reach");
      }
    }
  }

  void CheckBlockMap() {
    // The counter and the image length are big-endian in every version.
    auto data = mScan.OpenData(kBlockMapFileID, 0, mScan.ReachableData(kBlockMapFileID));
    uint8_t head[kMapFileImageOffset];
    int32_t got = 0;
    if (!data || !data->ReadData(head, sizeof head, &got) || got != static_cast<int32_t>(sizeof head)) {
      Problem("the block map (file 1) can't be read");
      return;
    }
    const uint32_t counter = VolumeScan::BigU32(head + kMapFileCounterOffset);
    const uint32_t length = VolumeScan::BigU32(head + kMapFileImageLengthOffset);
    uint32_t highest = kRootDirectoryIDnum;
    for (const auto& entry : mScan.Sequences()) highest = std::max(highest, entry.first);
    if (counter <= highest) {
      Problem("the next file ID (" + Num(counter) + ") is not above the files in use (up to " + Num(highest) + ")");
    }
    std::vector<uint8_t> image(std::min<uint64_t>(length, static_cast<uint64_t>(mScan.Length())));
    if (image.size() != length || !data->ReadData(image.data(), static_cast<int32_t>(image.size()), &got) ||
        got != static_cast<int32_t>(image.size()) || length < kImageHeaderSize ||
        VolumeScan::BigU32(image.data() + kImageMagicOffset) != kBlockMapMagic ||
        (length - kImageHeaderSize) / kImageEntrySize < VolumeScan::BigU32(image.data() + kImageCountOffset)) {
      Problem("the block map (file 1) does not parse");
      return;
    }
    const uint32_t count = VolumeScan::BigU32(image.data() + kImageCountOffset);
    std::set<uint32_t> listed;
    for (uint32_t i = 0; i < count; ++i) {
      const uint8_t* entry = image.data() + kImageHeaderSize + size_t{i} * kImageEntrySize;
      const uint32_t start = VolumeScan::BigU32(entry + kImageEntryStartOffset);
      const uint32_t fileID = VolumeScan::BigU32(entry + kImageEntryIDOffset);
      const uint32_t sequence = VolumeScan::BigU32(entry + kImageEntrySequenceOffset);
      const long index = mScan.BlockAt(start);
      if (index < 0) {
        Repeated("the block map lists a block where no block starts",
                 "the block map lists a block at " + Offset(start) + ", where no block starts");
        continue;
      }
      if (!listed.insert(start).second) {
        Repeated("the block map lists a block twice", "the block map lists the block at " + Offset(start) + " twice");
        continue;
      }
      const ScannedBlock& block = mScan.Blocks()[static_cast<size_t>(index)];
      if (block.fileID != fileID || (sequence != 0 && sequence != block.sequence)) {
        Repeated("the block map gives a block to another file", "the block map gives the block at " + Offset(start) + " to block " + Num(sequence) + " of file " +
                Num(fileID) + "; its header says block " + Num(block.sequence) + " of file " + Num(block.fileID));
      }
    }
    for (const ScannedBlock& block : mScan.Blocks()) {
      if (block.fileID != kBlockMapFileID && !block.truncated && !listed.count(block.start)) {
        Repeated("a block is missing from the block map", "the block at " + Offset(block.start) + " (file " + Num(block.fileID) +
                ") is missing from the block map");
      }
    }
  }

  void ReadItems() {
    for (const auto& [fileID, sequences] : mScan.Sequences()) {
      if (fileID < kFirstFileID || !sequences.count(0)) continue;
      ItemInfo& item = mItems[fileID];
      uint8_t header[kItemHeaderSize];
      auto data = mScan.OpenData(fileID, 0, kItemHeaderSize);
      int32_t got = 0;
      if (!data || !data->ReadData(header, kItemHeaderSize, &got) || got != kItemHeaderSize) {
        Problem("file " + Num(fileID) + ": its item header can't be read");
        continue;
      }
      item.headerRead = true;
      item.length = mScan.DataF64(header + kItemLengthOffset);
      item.type = mScan.DataU32(header + kItemTypeOffset);
      item.parent = mScan.DataU32(header + kItemParentOffset);
      const char* name = reinterpret_cast<const char*>(header + kItemNameOffset);
      item.name.assign(name, strnlen(name, kItemNameFieldSize));
      const std::string label = FileLabel(fileID);
      if (item.name.size() >= static_cast<size_t>(kItemNameFieldSize)) Problem(label + ": its name has no end");
      if (item.name.empty()) Problem(label + ": it has no name");
      if (item.type == 0 || item.type == kTempFolderType) Problem(label + ": it has no type");
      const double capacity = static_cast<double>(mChainCapacity[fileID]);
      item.lengthFits = item.length >= 0 && item.length == std::floor(item.length) &&
                        item.length + kItemHeaderSize <= capacity;
      if (!item.lengthFits) {
        Problem(label + ": its length (" + Length(item.length) + " bytes) passes the end of its blocks");
      }
    }
  }

  // The child IDs of a folder; false (reported) when its list is damaged.
  bool ReadChildren(uint32_t folderID, const ItemInfo& folder, std::vector<uint32_t>* ids) {
    const std::string label = FileLabel(folderID);
    if (!folder.lengthFits || folder.length < kEmptyFolderLength) {
      Problem(label + ": a folder too short for its list");
      return false;
    }
    auto data = mScan.OpenData(folderID, kFolderCountOffset, static_cast<int64_t>(folder.length));
    uint8_t number[4];
    int32_t got = 0;
    if (!data || !data->ReadData(number, 4, &got) || got != 4) {
      Problem(label + ": its list of files can't be read");
      return false;
    }
    const uint32_t count = mScan.DataU32(number);
    if (kEmptyFolderLength + 4.0 * count > folder.length) {
      Problem(label + ": it lists " + Num(count) + " files, more than its length holds");
      return false;
    }
    for (uint32_t i = 0; i < count; ++i) {
      if (!data->ReadData(number, 4, &got) || got != 4) {
        Problem(label + ": its list of files can't be read");
        return false;
      }
      ids->push_back(mScan.DataU32(number));
    }
    return true;
  }

  void CheckFolders(std::vector<VolumeItem>* rootFiles) {
    const auto root = mItems.find(kRootDirectoryIDnum);
    if (root == mItems.end() || !root->second.headerRead || root->second.type != kFolderType ||
        root->second.name != kRootDirName || root->second.parent != kNoParentID) {
      Problem("the root folder (file 2) is missing or is not the folder \"/\"");
    }
    std::unordered_map<uint32_t, uint32_t> listedBy;
    for (const auto& [folderID, folder] : mItems) {
      if (!folder.headerRead || folder.type != kFolderType) continue;
      std::vector<uint32_t> children;
      if (!ReadChildren(folderID, folder, &children)) {
        for (uint32_t child : children) listedBy.emplace(child, folderID);
        continue;
      }
      std::set<std::string> names;
      for (uint32_t child : children) {
        const std::string label = FileLabel(folderID);
        const auto item = mItems.find(child);
        if (item == mItems.end() || !item->second.headerRead || child == kRootDirectoryIDnum) {
          Problem(label + ": it lists file " + Num(child) + ", which is not an item");
          continue;
        }
        if (!listedBy.emplace(child, folderID).second) {
          Problem(label + ": " + FileLabel(child) + " is listed a second time");
          continue;
        }
        if (item->second.parent != folderID) {
          Problem(label + ": it lists " + FileLabel(child) + ", whose parent is file " + Num(item->second.parent));
        }
        if (!names.insert(item->second.name).second) {
          Problem(label + ": two files are named \"" + item->second.name + "\"");
        }
        if (folderID == kRootDirectoryIDnum) {
          const ItemInfo& info = item->second;
          rootFiles->push_back(VolumeItem{child, info.name, info.type,
                                          info.lengthFits ? static_cast<int64_t>(info.length) : 0,
                                          info.lengthFits});
        }
      }
    }
    for (const auto& [fileID, item] : mItems) {
      if (fileID != kRootDirectoryIDnum && item.headerRead && !listedBy.count(fileID)) {
        Problem(FileLabel(fileID) + " is in no folder");
      }
    }
  }

  const VolumeScan& mScan;
  CheckReport& mReport;
  std::map<uint32_t, ItemInfo> mItems;
  std::map<std::string, size_t> mRepeats;
  std::unordered_map<uint32_t, int64_t> mChainCapacity;
};

}  // namespace

void CheckVolume(const VolumeScan& scan, CheckReport* report, std::vector<VolumeItem>* rootFiles) {
  VolumeChecker(scan, report).Run(rootFiles);
}

std::vector<VolumeItem> SalvageRootFiles(const VolumeScan& scan) {
  CheckReport ignored;
  std::vector<VolumeItem> listed;
  CheckVolume(scan, &ignored, &listed);
  std::map<std::string, VolumeItem> byName;
  for (const VolumeItem& item : listed) {
    if (item.usable && item.type != kFolderType) byName.emplace(item.name, item);
  }
  for (const auto& [fileID, sequences] : scan.Sequences()) {
    uint8_t header[kItemHeaderSize];
    int32_t got = 0;
    auto data = scan.OpenData(fileID, 0, kItemHeaderSize);
    if (fileID <= kRootDirectoryIDnum || !data || !data->ReadData(header, kItemHeaderSize, &got) ||
        got != kItemHeaderSize || scan.DataU32(header + kItemParentOffset) != kRootDirectoryIDnum) {
      continue;
    }
    VolumeItem item;
    item.fileID = fileID;
    item.type = scan.DataU32(header + kItemTypeOffset);
    const char* name = reinterpret_cast<const char*>(header + kItemNameOffset);
    item.name.assign(name, strnlen(name, kItemNameMaxLength));
    const double length = scan.DataF64(header + kItemLengthOffset);
    const double reachable = static_cast<double>(std::max<int64_t>(0, scan.ReachableData(fileID) - kItemHeaderSize));
    if (item.type == kFolderType || item.name.empty() || !(length >= 0)) continue;
    item.length = static_cast<int64_t>(std::min(length, reachable));
    item.usable = true;
    byName.emplace(item.name, item);
  }
  std::vector<VolumeItem> files;
  for (auto& [name, item] : byName) files.push_back(std::move(item));
  return files;
}

}  // namespace parvex
