// Golden-text comparison with a diff from diff(1).
#include "harness/golden.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "harness/files.h"
#include "harness/process.h"

namespace parvex::testing {

bool AcceptingOutput() {
  const char* accept = std::getenv("PARVEX_ACCEPT");
  return accept && std::string(accept) == "1";
}

void ExpectSameText(const std::string& expected, const std::string& actual, const std::string& expectedPath) {
  if (expected == actual) return;
  const std::string name = std::filesystem::path(expectedPath).filename().string();
  if (AcceptingOutput()) {
    ASSERT_TRUE(WriteFile(expectedPath, actual)) << "cannot write " << expectedPath;
    std::printf("accepted the new output as %s\n", expectedPath.c_str());
    return;
  }
  TempFolder folder;
  WriteFile(folder.File("expected"), expected);
  WriteFile(folder.File("actual"), actual);
  ProcessRun diff;
  diff.argv = {"/usr/bin/diff", "-u", "--label", name, "--label", "actual output", folder.File("expected"),
               folder.File("actual")};
  const ProcessResult shown = RunProcess(diff);
  if (shown.exitCode == 1) {
    ADD_FAILURE() << "the output differs from " << expectedPath << " (PARVEX_ACCEPT=1 takes the new output):\n"
                  << shown.out;
  } else {
    EXPECT_EQ(expected, actual) << "the output differs from " << expectedPath;
  }
}

void ExpectMatchesFile(const std::string& actual, const std::string& expectedPath) {
  ExpectSameText(ReadFile(expectedPath), actual, expectedPath);
}

}  // namespace parvex::testing
