// VFSVolume: positioning, reading and writing inside a file's block chain.
//
// A handle's record keeps the blocks of the chain it has met so far, in
// chain order, each with the file offset where its data starts. Seeking is a
// binary search over them; only positions past the known part follow `next`
// links, each at most once per handle. Every link followed is checked: the
// header must say "BlkS", this file, the previous block's sequence + 1, and a
// size that fits in the stream. Because the sequence must grow by one at each
// step, a chain that loops back on itself fails instead of running forever.
#include <algorithm>
#include <cmath>
#include <type_traits>

#include "platform/file_ptr.h"
#include "volume/vfs_volume.h"
#include "volume/volume_format.h"

namespace parvex {

namespace {

// A transfer size or position: a whole number within the 32-bit range.
bool IsByteCount(double value) { return value >= 0 && value <= INT32_MAX && value == std::floor(value); }

}  // namespace

VFSVolume::ChainStep VFSVolume::ExtendChain(VFSOpenFile& file) {
  VFSChainLink& last = file.chain.back();
  if (last.next == 0) {
    // Another handle on the same file may have added a block since this one
    // read the header: look again before calling this the end.
    VFSBlockHeader header;
    if (!ReadHeaderAt(last.start, &header)) return ChainStep::kFailed;
    if (header.magic != kBlockStartMagic || header.fileID != file.fileID) return Broken();
    last.next = header.next;
    if (last.next == 0) return ChainStep::kEnd;
  }
  if (!(last.next >= kFirstBlockStart && last.next <= INT32_MAX && last.next == std::floor(last.next))) {
    return Broken();
  }
  const int64_t start = static_cast<int64_t>(last.next);
  const uint32_t sequence = last.sequence + 1;
  const int64_t dataStart = last.DataEnd();
  VFSBlockHeader header;
  if (!ReadHeaderAt(start, &header)) return ChainStep::kFailed;
  if (header.magic != kBlockStartMagic || header.fileID != file.fileID || header.sequence != sequence ||
      !IsUsableBlock(start, header.size)) {
    return Broken();
  }
  file.chain.push_back(VFSChainLink{static_cast<int32_t>(start), static_cast<int32_t>(header.size) - kBlockOverhead,
                                    dataStart, sequence, header.next});
  return ChainStep::kExtended;
}

bool VFSVolume::AppendBlock(VFSOpenFile& file) {
  const VFSChainLink last = file.chain.back();
  double size = 0;
  const double found = FindOrAllocateBlock(&size);
  if (found < 0) return false;
  const int64_t start = static_cast<int64_t>(found);
  const uint32_t sequence = last.sequence + 1;
  if (!WriteHeaderAt(start, {kBlockStartMagic, file.fileID, sequence, size, 0})) return false;
  MutableMap().ChangeEntryByBlockStart(static_cast<uint32_t>(start), file.fileID, sequence);
  // Link the previous block to the new one.
  const VFSBlockHeader previous{kBlockStartMagic, file.fileID, last.sequence,
                                static_cast<double>(last.capacity + kBlockOverhead), static_cast<double>(start)};
  if (!WriteHeaderAt(last.start, previous)) return false;
  file.chain.back().next = static_cast<double>(start);
  file.chain.push_back(VFSChainLink{static_cast<int32_t>(start), static_cast<int32_t>(size) - kBlockOverhead,
                                    last.DataEnd(), sequence, 0});
  return true;
}

bool VFSVolume::Seek(VFSOpenFile& file, int64_t position) {
  const VFSChainLink& current = file.chain[file.current];
  if (position >= current.dataStart && position < current.DataEnd()) {
    file.position = position;
    return true;
  }
  while (file.chain.back().DataEnd() < position) {
    if (ExtendChain(file) != ChainStep::kExtended) return false;  // past the last block, or a broken link
  }
  // The last known block whose data starts at or before the position.
  auto after = std::upper_bound(file.chain.begin(), file.chain.end(), position,
                                [](int64_t value, const VFSChainLink& link) { return value < link.dataStart; });
  file.current = static_cast<size_t>(after - file.chain.begin()) - 1;
  file.position = position;
  return true;
}

VFSVolume::ChainStep VFSVolume::StepToNextBlock(VFSOpenFile& file, bool grow) {
  if (file.current + 1 < file.chain.size()) {
    ++file.current;
    return ChainStep::kExtended;
  }
  ChainStep step = ExtendChain(file);
  if (step == ChainStep::kEnd && grow) step = AppendBlock(file) ? ChainStep::kExtended : ChainStep::kFailed;
  if (step == ChainStep::kExtended) ++file.current;
  return step;
}

bool VFSVolume::Read(VFSOpenFile& file, uint8_t* buffer, int64_t count, int64_t* got) {
  *got = 0;
  while (*got < count) {
    const VFSChainLink& link = file.chain[file.current];
    const int64_t offset = file.position - link.dataStart;
    if (offset >= link.capacity) {
      const ChainStep step = StepToNextBlock(file, false);
      if (step == ChainStep::kExtended) continue;
      return step == ChainStep::kEnd;  // the end of the chain ends the read
    }
    const int32_t n = static_cast<int32_t>(std::min<int64_t>(count - *got, link.capacity - offset));
    int32_t read = 0;
    const bool ok = mStream->SeekFromStart(static_cast<int32_t>(link.start + kBlockHeaderSize + offset)) &&
                    mStream->ReadData(buffer + *got, n, &read);
    *got += read;
    file.position += read;
    if (!ok) {
      NoteStreamFailure();
      return false;
    }
    if (read != n) {
      // The stream ends inside a block it was checked to hold: it shrank.
      mLastFailure = kStreamDamagedError;
      return false;
    }
  }
  return true;
}

bool VFSVolume::Write(VFSOpenFile& file, const uint8_t* buffer, int64_t count) {
  int64_t done = 0;
  while (done < count) {
    const VFSChainLink& link = file.chain[file.current];
    const int64_t offset = file.position - link.dataStart;
    if (offset >= link.capacity) {
      if (StepToNextBlock(file, true) != ChainStep::kExtended) return false;
      continue;
    }
    const int32_t n = static_cast<int32_t>(std::min<int64_t>(count - done, link.capacity - offset));
    if (!mStream->SeekFromStart(static_cast<int32_t>(link.start + kBlockHeaderSize + offset)) ||
        !mStream->WriteData(buffer + done, n)) {
      return false;
    }
    done += n;
    file.position += n;
  }
  return true;
}

bool VFSVolume::SetFilePosition(int16_t handle, double position) {
  mLastFailure = 0;
  VFSOpenFile* file = Record(handle);
  if (!file) return false;
  if (position == static_cast<double>(file->position)) return true;
  if (!IsByteCount(position)) return false;
  return Seek(*file, static_cast<int64_t>(position));
}

double VFSVolume::GetFilePosition(int16_t handle) const {
  const VFSOpenFile* file = Record(handle);
  return file ? static_cast<double>(file->position) : -1;
}

bool VFSVolume::ReadFileData(int16_t handle, double* count, void* buffer) {
  mLastFailure = 0;
  VFSOpenFile* file = Record(handle);
  const double wanted = *count;
  *count = 0;
  if (!file || !IsByteCount(wanted)) return false;
  int64_t got = 0;
  const bool ok = Read(*file, static_cast<uint8_t*>(buffer), static_cast<int64_t>(wanted), &got);
  *count = static_cast<double>(got);
  return ok;
}

bool VFSVolume::WriteFileData(int16_t handle, const void* buffer, double count) {
  VFSOpenFile* file = Record(handle);
  if (!file || !IsByteCount(count)) return false;
  return Write(*file, static_cast<const uint8_t*>(buffer), static_cast<int64_t>(count));
}

// Numbers in file data are encoded through a small memory view set to the
// version's byte order (doubles follow the same order as the integers).
template <typename T>
bool VFSVolume::WriteFileNumber(int16_t handle, T value) {
  uint8_t bytes[sizeof(T)];
  FilePtr view(static_cast<void*>(bytes), static_cast<int32_t>(sizeof bytes));
  if (DataIsBigEndian()) view.SetBigEndian();
  view.SetDoubleSwap(true);
  bool encoded;
  if constexpr (sizeof(T) == 2) {
    encoded = view.WriteShort(value);
  } else if constexpr (std::is_same_v<T, double>) {
    encoded = view.WriteDouble(value);
  } else {
    encoded = view.WriteLong(value);
  }
  return encoded && WriteFileData(handle, bytes, sizeof bytes);
}

template <typename T>
bool VFSVolume::ReadFileNumber(int16_t handle, T* value) {
  uint8_t bytes[sizeof(T)];
  double count = sizeof bytes;
  if (!ReadFileData(handle, &count, bytes) || count != sizeof bytes) return false;
  FilePtr view(static_cast<const void*>(bytes), static_cast<int32_t>(sizeof bytes));
  if (DataIsBigEndian()) view.SetBigEndian();
  view.SetDoubleSwap(true);
  if constexpr (sizeof(T) == 2) {
    return view.ReadShort(value);
  } else if constexpr (std::is_same_v<T, double>) {
    return view.ReadDouble(value);
  } else {
    return view.ReadLong(value);
  }
}

bool VFSVolume::WriteFileLong(int16_t handle, uint32_t value) { return WriteFileNumber(handle, value); }
bool VFSVolume::WriteFileShort(int16_t handle, uint16_t value) { return WriteFileNumber(handle, value); }
bool VFSVolume::WriteFileDouble(int16_t handle, double value) { return WriteFileNumber(handle, value); }
bool VFSVolume::ReadFileLong(int16_t handle, uint32_t* value) { return ReadFileNumber(handle, value); }
bool VFSVolume::ReadFileShort(int16_t handle, uint16_t* value) { return ReadFileNumber(handle, value); }
bool VFSVolume::ReadFileDouble(int16_t handle, double* value) { return ReadFileNumber(handle, value); }

}  // namespace parvex
