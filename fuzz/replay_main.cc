// Replays saved fuzzer inputs: runs LLVMFuzzerTestOneInput on every file of the
// folders (or files) named on the command line. A crash, a sanitizer report or a
// leak fails the run; a missing or empty folder passes (nothing has failed yet).
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

static void RunFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

int main(int argc, char** argv) {
  size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    std::filesystem::path root(argv[i]);
    std::error_code ec;
    if (std::filesystem::is_regular_file(root, ec)) {
      RunFile(root);
      ++count;
      continue;
    }
    if (!std::filesystem::is_directory(root, ec)) continue;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
      if (!entry.is_regular_file()) continue;
      RunFile(entry.path());
      ++count;
    }
  }
  std::printf("replayed %zu inputs\n", count);
  return 0;
}
