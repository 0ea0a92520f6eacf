// Fuzz target for record files, row-position maps and index files.
//
// Input: 4 bytes of control, then the bytes of a data file and of a map file.
// The control word's low 31 bits (big-endian) give the split point (taken
// modulo the remaining length + 1); its top bit withholds the map stream.
// The target opens a storage over both, walks every record reading values,
// visits every listed row, changes a few rows, reopens what it wrote, and
// loads the data bytes as an index file. Any crash, sanitizer report, hang
// or leak is a fault; "ParvexStorage error" lines on stderr are expected.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/memory_stream.h"
#include "storage/index.h"
#include "storage/record_storage.h"

namespace {

using parvex::FileHandle;
using parvex::MemoryHandle;

// A big-endian stream (doubles swapped) over `bytes`, writing into them.
std::unique_ptr<FileHandle> StreamOver(MemoryHandle* bytes) {
  auto stream = std::make_unique<FileHandle>();
  stream->Open(bytes);
  stream->SetBigEndian();
  stream->SetDoubleSwap(true);
  return stream;
}

// Walks, reads and changes the storage; bounded so that no input can hang.
void Exercise(parvex::ParvexStorage& storage) {
  constexpr int kMaxSteps = 20000;
  parvex::OwnedValueList values;
  int steps = 0;
  for (bool more = storage.GoToFirstRecord(); more && steps < kMaxSteps; more = storage.NextRecord(), ++steps) {
    storage.ReadRecordValues(values.list);
  }
  parvex::SimpleVector<parvex::RowID> ids;
  storage.GetRowIDs(&ids);
  for (size_t i = 0; i < ids.size() && i < kMaxSteps; ++i) {
    storage.GoToRowID(ids[i], i % 2 == 0);
    storage.ReadRowValues(ids[i], values.list);
  }
  if (ids.empty()) return;
  // Grow the first row (moves it), shrink or keep the last, drop the middle one.
  parvex::OwnedValueList change;
  change.list.push_back(new parvex::ParvexValueWithID(parvex::ParvexValue::String("a longer text value"), 1));
  change.list.push_back(new parvex::ParvexValueWithID(parvex::ParvexValue::Double(2.5), 300));
  if (storage.GoToRowID(ids[0], false)) storage.UpdateRecord(change.list);
  change.list[0]->SetInteger(7);
  if (storage.GoToRowID(ids[ids.size() - 1], true)) storage.UpdateRecord(change.list);
  storage.RemoveRow(ids[ids.size() / 2]);
  storage.AddNewRecord(ids[0] + 1, change.list);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kControlSize = 4;
  if (size < kControlSize) return 0;
  const uint32_t control = (uint32_t{data[0]} << 24) | (uint32_t{data[1]} << 16) | (uint32_t{data[2]} << 8) | data[3];
  const bool withMap = (control & 0x80000000u) == 0;
  const size_t rest = size - kControlSize;
  const size_t split = (control & 0x7FFFFFFFu) % (rest + 1);
  const uint8_t* body = data + kControlSize;

  MemoryHandle dataBytes(body, body + split);
  MemoryHandle mapBytes(body + split, body + rest);
  {
    parvex::ParvexStorage storage(StreamOver(&dataBytes), withMap ? StreamOver(&mapBytes) : nullptr);
    Exercise(storage);
    // The buffers keep the streams' growth slack: cut them to the files.
    storage.FlushToDisk();
    dataBytes.resize(static_cast<size_t>(storage.DataFile()->GetLength()));
    if (withMap) mapBytes.resize(static_cast<size_t>(storage.MapFile()->GetLength()));
  }
  {
    parvex::ParvexStorage storage(StreamOver(&dataBytes), withMap ? StreamOver(&mapBytes) : nullptr);
    Exercise(storage);
  }

  MemoryHandle indexBytes(body, body + split);
  parvex::ParvexIndex index(parvex::SimpleVector<uint32_t>{});
  index.LoadFromFile(StreamOver(&indexBytes));
  index.ForEachEntry([&index](const parvex::ParvexIndexEntry& entry) {
    std::vector<const parvex::ParvexValue*> key;
    for (const parvex::ParvexValue& v : entry.values) key.push_back(&v);
    index.Lookup(key);
  });
  MemoryHandle saved;
  index.SaveToFile(StreamOver(&saved));
  return 0;
}
