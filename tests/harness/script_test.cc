// Finding script files and naming their tests.
#include "harness/script_test.h"

#include <algorithm>
#include <cctype>

namespace parvex::testing {

namespace fs = std::filesystem;

std::vector<fs::path> ScriptFiles(const std::string& folder, const std::string& extension) {
  std::vector<fs::path> scripts;
  std::error_code ec;
  for (const auto& entry : fs::directory_iterator(fs::path(PARVEX_SOURCE_DIR) / folder, ec)) {
    if (entry.path().extension() == extension) scripts.push_back(entry.path());
  }
  std::sort(scripts.begin(), scripts.end());
  return scripts;
}

std::string ScriptTestName(const ::testing::TestParamInfo<fs::path>& info) {
  std::string name = info.param.stem().string();
  for (char& c : name) {
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  }
  return name;
}

std::string FreshWorkFolder(const std::string& kind, const fs::path& script) {
  const fs::path folder = fs::path(PARVEX_BINARY_DIR) / "script-tests" / kind / script.stem();
  std::error_code ec;
  fs::remove_all(folder, ec);
  fs::create_directories(folder, ec);
  return folder.string();
}

}  // namespace parvex::testing
