// Temporary folders and whole-file reads and writes.
#include "harness/files.h"

#include <unistd.h>

#include <atomic>
#include <fstream>
#include <iterator>

namespace parvex::testing {

TempFolder::TempFolder() {
  static std::atomic<int> counter{0};
  const auto base = std::filesystem::temp_directory_path();
  mPath = base / ("parvex-test-" + std::to_string(getpid()) + "-" + std::to_string(counter++));
  std::filesystem::remove_all(mPath);
  std::filesystem::create_directories(mPath);
}

TempFolder::~TempFolder() {
  std::error_code ec;
  std::filesystem::remove_all(mPath, ec);
}

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out);
}

}  // namespace parvex::testing
