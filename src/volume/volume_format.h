// The on-disk layout of a virtual volume, as named constants.
//
// A volume file is a header followed by blocks lying back to back to the end
// of the file. Each block belongs to one numbered file (0 = free, 1 = the
// block map, 2 = the root folder, then items) and carries a header, a data
// area and an end mark. Numbers in the volume header, block headers, the
// file-ID counter and the block-map image are big-endian, except that a
// version-1 volume keeps the two f64 fields of every block header
// little-endian. Numbers inside file data (item headers, folder lists) are
// big-endian from version 3 on and little-endian in versions 1 and 2.
#pragma once

#include <cstdint>

namespace parvex {

// Four ASCII characters read as a big-endian u32.
constexpr uint32_t FourCharCode(const char (&text)[5]) {
  return (static_cast<uint32_t>(static_cast<uint8_t>(text[0])) << 24) |
         (static_cast<uint32_t>(static_cast<uint8_t>(text[1])) << 16) |
         (static_cast<uint32_t>(static_cast<uint8_t>(text[2])) << 8) | static_cast<uint32_t>(static_cast<uint8_t>(text[3]));
}

// --- volume header (at offset 0) ----------------------------------------------
constexpr uint32_t kVolumeMagic = FourCharCode("VFSv");  // 0x56465376
constexpr int32_t kVolumeMagicOffset = 0;
constexpr int32_t kVolumeVersionOffset = 4;
constexpr int32_t kVolumeHeaderSize = 8;
constexpr uint32_t kVolumeVersionCurrent = 3;  // written by new volumes; higher versions are refused
constexpr uint32_t kVolumeVersionLittleEndianDoubles = 1;  // block-header f64 fields little-endian
constexpr uint32_t kVolumeVersionLastLittleEndianData = 2;  // numbers in file data little-endian up to here

// --- blocks ---------------------------------------------------------------------
constexpr int32_t kFirstBlockStart = kVolumeHeaderSize;  // always the first block of file 1
constexpr uint32_t kBlockStartMagic = FourCharCode("BlkS");  // 0x426C6B53
constexpr uint32_t kBlockEndMagic = FourCharCode("BlkE");    // 0x426C6B45
// Block header fields (offsets from the block's start).
constexpr int32_t kBlockMagicOffset = 0;      // u32 "BlkS"
constexpr int32_t kBlockFileIDOffset = 4;     // u32
constexpr int32_t kBlockSequenceOffset = 8;   // u32, 0 for a file's first block
constexpr int32_t kBlockSizeOffset = 12;      // f64, header and end mark included
constexpr int32_t kBlockNextOffset = 20;      // f64, absolute start of the next block; 0 = last
constexpr int32_t kBlockHeaderSize = 28;
constexpr int32_t kBlockEndMarkSize = 4;      // u32 "BlkE" in the last 4 bytes of the block
constexpr int32_t kBlockOverhead = kBlockHeaderSize + kBlockEndMarkSize;  // size - data capacity
constexpr int32_t kFirstBlockMinimumSize = 36;     // room for the file-ID counter
constexpr int32_t kNewVolumeFirstBlockSize = 40;   // counter + image length

// File IDs.
constexpr uint32_t kFreeBlockID = 0;
constexpr uint32_t kBlockMapFileID = 1;
constexpr uint32_t kRootDirectoryIDnum = 2;  // the first file created after the block map
constexpr uint32_t kFirstFileID = kRootDirectoryIDnum;

// Block-size preferences (bytes).
constexpr double kDefaultMinReusableBlockSize = 256;
constexpr double kDefaultNewBlockSize = 1024;
constexpr double kDefaultMaxReusableBlockSize = 16384;

// --- the block-map file (file 1), offsets in its data ---------------------------
constexpr int32_t kMapFileCounterOffset = 0;      // u32 next file ID, kept in place in the volume
constexpr int32_t kMapFileImageLengthOffset = 4;  // u32 L, always big-endian
constexpr int32_t kMapFileImageOffset = 8;        // L bytes of image
// The counter's absolute place: the data area of the first block.
constexpr int32_t kFileIDCounterPlace = kFirstBlockStart + kBlockHeaderSize + kMapFileCounterOffset;

// Block-map image (always big-endian).
constexpr uint32_t kBlockMapMagic = FourCharCode("BMap");  // 0x424D6170
constexpr int32_t kImageMagicOffset = 0;
constexpr int32_t kImageCountOffset = 4;
constexpr int32_t kImageHeaderSize = 8;
constexpr int32_t kImageEntrySize = 12;       // start, file ID, sequence
constexpr int32_t kImageEntryStartOffset = 0;
constexpr int32_t kImageEntryIDOffset = 4;
constexpr int32_t kImageEntrySequenceOffset = 8;

// --- open files -------------------------------------------------------------------
// The open-file table never grows past this many slots.
constexpr int32_t kMaxOpenFileSlots = 32767;

// --- item header of the hierarchical layer (offsets in file data) ---------------
constexpr int32_t kItemLengthOffset = 0;       // f64 content length (bytes after the header)
constexpr int32_t kItemTypeOffset = 8;         // u32 four-character type
constexpr int32_t kItemParentOffset = 12;      // u32 parent folder's file ID; 0 for the root
constexpr int32_t kItemCreatedOffset = 16;     // f64 seconds
constexpr int32_t kItemModifiedOffset = 24;    // f64 seconds
constexpr int32_t kItemNameOffset = 32;        // name bytes, zero-padded
constexpr int32_t kItemNameFieldSize = 224;
constexpr int32_t kItemNameMaxLength = kItemNameFieldSize - 1;  // always zero-terminated
constexpr int32_t kItemHeaderSize = 256;       // content starts here

// Folder content: a u32 count, then that many u32 child file IDs.
constexpr int32_t kFolderCountOffset = kItemHeaderSize;            // 256
constexpr int32_t kFolderListOffset = kItemHeaderSize + 4;         // 260
constexpr int32_t kFolderEntrySize = 4;
constexpr double kEmptyFolderLength = 4;                           // just the count

constexpr uint32_t kFolderType = FourCharCode("fold");      // 0x666F6C64
constexpr uint32_t kTempFolderType = FourCharCode("temp");  // only while a folder is being made
constexpr char kRootDirName[] = "/";
constexpr uint32_t kNoParentID = 0;

}  // namespace parvex
