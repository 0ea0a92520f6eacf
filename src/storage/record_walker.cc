// RecordWalker: stepping through records, and finding the next one after damage.
#include "storage/record_walker.h"

#include <algorithm>
#include <string_view>
#include <vector>

namespace parvex {

namespace {

constexpr int32_t kSearchChunk = 64 * 1024;
constexpr std::string_view kLiveTag = "RcSt";
constexpr std::string_view kDeletedTag = "Trsh";

}  // namespace

RecordWalker::RecordWalker(std::unique_ptr<RandomAccessMechanism> data)
    : mStorage(std::move(data), nullptr, StorageAccess::kInspect), mPosition(kFirstRecordOffset) {}

RecordWalker::Step RecordWalker::Next(ParvexValueList& values) {
  Step step;
  const uint32_t length = mStorage.DataLength();
  if (mPosition >= length) return step;
  step.position = mPosition;
  if (mStorage.GoToPosition(mPosition)) {
    step.rowID = mStorage.CurrentRowID();
    step.live = !mStorage.IsCurrentDeleted();
    step.end = mStorage.NextRecordPosition();
    if (!step.live || mStorage.ReadRecordValues(values)) {
      step.kind = Step::Kind::kRecord;
      mPosition = step.end;
      return step;
    }
    // The header looked right but the body does not decode: go on after it
    // when a record follows there, else search.
    step.kind = Step::Kind::kDamage;
    step.headerValid = true;
    step.fault = mStorage.LastFault();
    const uint32_t end = step.end;
    OwnedValueList probe;
    step.end = end >= length || IsRecordAt(end, probe.list) ? end : FindNextRecord(step.position, probe.list);
  } else {
    step.kind = Step::Kind::kDamage;
    step.fault = mStorage.LastFault();
    OwnedValueList probe;
    step.end = FindNextRecord(step.position, probe.list);
  }
  DeleteValues(values);
  mPosition = step.end;
  return step;
}

bool RecordWalker::IsRecordAt(uint32_t position, ParvexValueList& values) {
  if (!mStorage.GoToPosition(position)) return false;
  return mStorage.IsCurrentDeleted() || mStorage.ReadRecordValues(values);
}

uint32_t RecordWalker::FindNextRecord(uint32_t from, ParvexValueList& values) {
  const uint32_t length = mStorage.DataLength();
  RandomAccessMechanism* file = mStorage.DataFile();
  std::vector<char> chunk(kSearchChunk);
  for (uint64_t base = uint64_t{from} + 1; base + kRecordHeaderSize <= length;) {
    const auto n = static_cast<int32_t>(std::min<uint64_t>(kSearchChunk, length - base));
    int32_t got = 0;
    if (!file->SeekFromStart(static_cast<int32_t>(base)) || !file->ReadData(chunk.data(), n, &got) || got != n) {
      return length;  // the rest can't be read
    }
    const std::string_view text(chunk.data(), static_cast<size_t>(n));
    size_t hit = std::min(text.find(kLiveTag), text.find(kDeletedTag));
    while (hit != std::string_view::npos) {
      if (IsRecordAt(static_cast<uint32_t>(base + hit), values)) return static_cast<uint32_t>(base + hit);
      hit = std::min(text.find(kLiveTag, hit + 1), text.find(kDeletedTag, hit + 1));
    }
    base += static_cast<uint64_t>(std::max(1, n - static_cast<int32_t>(kLiveTag.size()) + 1));
  }
  return length;
}

}  // namespace parvex
