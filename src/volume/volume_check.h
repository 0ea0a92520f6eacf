// CheckVolume: the volume part of an integrity check.
//
// From a VolumeScan it checks, without writing anything:
// - the blocks: they lie back to back from offset 8 to the end of the file,
//   each with "BlkS", a size that fits and "BlkE" at its end; the first is
//   block 0 of the block-map file (file 1);
// - the chains: each file in use has one first block and its `next` links
//   lead through blocks of the same file with sequence numbers 1, 2, ... to
//   a last block, covering every block of the file;
// - the block map: the image in file 1 parses, lists every block (blocks of
//   file 1 itself may be missing: they can be added by the write of the image)
//   once, with the owner its header names (a sequence number of 0 is allowed:
//   a rebuilt map carries 0 everywhere), and the next file ID is above every
//   file in use;
// - the items: each file from 2 up has an item header whose length fits its
//   blocks, a type, a name; the root (file 2) is the folder "/"; every folder
//   lists only items whose parent it is, none twice, and every item but the
//   root is listed by its parent.
// Each finding is one problem line of the report. The root folder's files
// come back for the checks of the tables.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/check_report.h"
#include "volume/volume_scan.h"

namespace parvex {

struct VolumeItem {
  uint32_t fileID = 0;
  std::string name;
  uint32_t type = 0;
  int64_t length = 0;   // content bytes after the item header
  bool usable = false;  // its header reads and its length fits its blocks
};

// `scan` must have run with the outcome kVolume. Fills `rootFiles` with the
// items the root folder lists, in list order.
void CheckVolume(const VolumeScan& scan, CheckReport* report, std::vector<VolumeItem>* rootFiles);

// For recovery: every file item whose header can be read and whose parent is
// the root folder, whatever the root folder's list says, with its length cut
// to the data its blocks hold. Of two items of one name, the one the root
// folder lists wins (else the first).
std::vector<VolumeItem> SalvageRootFiles(const VolumeScan& scan);

}  // namespace parvex
