// Files for tests: a private temporary folder that goes away with the test,
// and whole-file reads and writes.
#pragma once

#include <filesystem>
#include <string>

namespace parvex::testing {

// A folder of its own under the system's temporary folder, removed with
// everything in it when the object goes.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::filesystem::path& path() const { return mPath; }
  std::string File(const std::string& name) const { return (mPath / name).string(); }

 private:
  std::filesystem::path mPath;
};

// The bytes of a file; empty when it can't be read.
std::string ReadFile(const std::string& path);
// Replaces the file's contents with `bytes`; false when it can't be written.
bool WriteFile(const std::string& path, const std::string& bytes);

}  // namespace parvex::testing

namespace parvex {
using testing::TempFolder;
}  // namespace parvex
