// StorageFault: what a record storage found wrong while reading its files.
//
// The storage keeps the first read-path failure (a bad record header, a body
// that can't be decoded, a map that points at the wrong place, a read the
// stream refused) so that the table over it can fail the statement that met
// it with a message saying where. Failures of writes are not faults: they
// are reported by the operation that wrote.
#pragma once

#include <cstdint>

#include "core/table.h"
#include "platform/parvex_string.h"

namespace parvex {

// Error numbers reported through ParvexStorage::HandleError
// ("ParvexStorage error " + n).
enum StorageError : int {
  kStorageErrorNone = 0,
  kStorageErrorBadHeader = 1,     // tag neither "RcSt" nor "Trsh", or body length below 1
  kStorageErrorReadFailed = 2,    // a record header or body could not be read whole
  kStorageErrorPastEnd = 3,       // a record's body runs past the end of the data file
  kStorageErrorBadBody = 4,       // counts, rooms or lengths overrun the body, or an unknown type byte
  kStorageErrorBadMap = 5,        // map count larger than the file, no end mark, bad state word
                                  // (the map is rebuilt), or a position outside the data file
  kStorageErrorMapMismatch = 6,   // a map position holds another row's record, or no record
  kStorageErrorWriteFailed = 7,   // a stream refused a write or the file would pass 2 GB
  kStorageErrorMapRepeats = 8,    // the map lists a row twice (so another row is missing from it)
};

struct StorageFault {
  StorageError error = kStorageErrorNone;
  // For kStorageErrorReadFailed: the stream's error code; kStreamDamagedError
  // when the stream's own structure failed, 0 when the file simply ended.
  int32_t streamError = 0;
  bool inMapFile = false;            // the failure is in the row-position map file
  uint32_t position = 0;             // offset in that file
  RowID rowID = kInvalidRowID;       // the row concerned, when known
  RowID foundRowID = kInvalidRowID;  // for a mismatch: the row whose record is there

  bool IsSet() const { return error != kStorageErrorNone; }
  // A read the operating system refused (as opposed to damaged bytes).
  bool IsIOError() const;
};

// The fault in words, naming the file ("the record header at offset 300 of
// T.dat is not valid"); no leading capital, no final period.
string DescribeStorageFault(const StorageFault& fault, const string& dataFileName, const string& mapFileName);

}  // namespace parvex
