// StorageFault: the words for a storage's first read failure.
#include "storage/storage_fault.h"

#include <cstring>
#include <string>

#include "platform/random_access.h"

namespace parvex {

namespace {

std::string Number(uint64_t n) { return std::to_string(n); }

std::string At(uint32_t position, const string& file) {
  return "offset " + Number(position) + " of " + std::string(file.view());
}

}  // namespace

bool StorageFault::IsIOError() const {
  return error == kStorageErrorReadFailed && streamError != 0 && streamError != kStreamDamagedError;
}

string DescribeStorageFault(const StorageFault& fault, const string& dataFileName, const string& mapFileName) {
  const string& file = fault.inMapFile ? mapFileName : dataFileName;
  std::string text;
  switch (fault.error) {
    case kStorageErrorBadHeader:
      text = "the record header at " + At(fault.position, file) + " is not valid";
      break;
    case kStorageErrorReadFailed:
      if (fault.streamError == 0) {
        text = std::string(file.view()) + " ends inside a record, at offset " + Number(fault.position);
      } else if (fault.streamError == kStreamDamagedError) {
        text = std::string(file.view()) + " can't be read at offset " + Number(fault.position) +
               ": its blocks in the database file are damaged";
      } else {
        text = std::string(file.view()) + " can't be read at offset " + Number(fault.position) + ": " +
               std::strerror(fault.streamError);
      }
      break;
    case kStorageErrorPastEnd:
      text = "the record at " + At(fault.position, file) + " runs past the end of the file";
      break;
    case kStorageErrorBadBody:
      text = "the record of row " + Number(fault.rowID) + " at " + At(fault.position, file) + " can't be decoded";
      break;
    case kStorageErrorBadMap:
      text = std::string(mapFileName.view()) + " puts row " + Number(fault.rowID) + " at offset " +
             Number(fault.position) + ", outside the records of " + std::string(dataFileName.view());
      break;
    case kStorageErrorMapRepeats:
      text = std::string(mapFileName.view()) + " lists row " + Number(fault.rowID) + " twice";
      break;
    case kStorageErrorMapMismatch:
      text = std::string(mapFileName.view()) + " puts row " + Number(fault.rowID) + " at " +
             At(fault.position, dataFileName) +
             (fault.foundRowID == fault.rowID ? std::string(", a deleted copy of the row, which lives on elsewhere")
                                              : ", which holds row " + Number(fault.foundRowID));
      break;
    default:
      text = "the storage of " + std::string(dataFileName.view()) + " failed";
      break;
  }
  return string(text);
}

}  // namespace parvex
