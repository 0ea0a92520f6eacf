// Host-file and opening helpers shared by the database tests.
#pragma once

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "db/database.h"

namespace parvex {

inline std::string ReadHostFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline void WriteHostFile(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

inline std::unique_ptr<ParvexDatabase> Open(const std::string& path, bool create, ParvexStatus* status) {
  return std::unique_ptr<ParvexDatabase>(ParvexOpenDatabase(string(path), create, status));
}

}  // namespace parvex
