// RecordWalker: the records of a record file one after the other, for
// integrity checks and recovery.
//
// It walks from the first record (offset 256) to the end of the file,
// following each record's length, and decodes the bodies of live records.
// Where the walk meets damage (a header that is not a record, a record that
// runs past the end, a body that does not decode, bytes that can't be read)
// it reports a damage step with the fault and then searches on for the next
// plausible record: a "RcSt" or "Trsh" header whose body fits in the file
// and, for a live one, decodes. So records after a damaged stretch are still
// found. The file is only read (an inspecting ParvexStorage).
#pragma once

#include <cstdint>
#include <memory>

#include "core/table.h"
#include "platform/random_access.h"
#include "storage/record_storage.h"

namespace parvex {

class RecordWalker {
 public:
  struct Step {
    enum class Kind { kRecord, kDamage, kEnd };
    Kind kind = Kind::kEnd;
    uint32_t position = 0;  // the record's (or the damage's) offset
    uint32_t end = 0;       // where the record ends, or where the walk goes on after damage
    RowID rowID = kInvalidRowID;
    bool live = false;
    StorageFault fault;     // for kDamage
    // For kDamage: the record's header was valid (rowID and live tell it);
    // its body is what could not be decoded.
    bool headerValid = false;
  };

  explicit RecordWalker(std::unique_ptr<RandomAccessMechanism> data);

  // The next step. For a live record, `values` receives its values.
  Step Next(ParvexValueList& values);

  ParvexStorage& Storage() { return mStorage; }
  uint32_t DataLength() const { return mStorage.DataLength(); }

 private:
  // The first offset after `from` where a plausible record starts, or the
  // end of the file.
  uint32_t FindNextRecord(uint32_t from, ParvexValueList& values);
  // Whether a record starts at `position` (and its body decodes when live).
  bool IsRecordAt(uint32_t position, ParvexValueList& values);

  ParvexStorage mStorage;
  uint32_t mPosition;
};

}  // namespace parvex
