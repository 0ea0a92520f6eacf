// The host script runner (see host_script.h).
#include "harness/host_script.h"

#include <gtest/gtest.h>

#include "harness/files.h"
#include "harness/golden.h"
#include "harness/process.h"
#include "harness/script_test.h"

namespace parvex::testing {

void RunHostScript(const std::filesystem::path& script) {
  std::filesystem::path expectedOut = script;
  expectedOut.replace_extension(".out");
  std::filesystem::path expectedErr = script;
  expectedErr.replace_extension(".err");
  const bool traced = std::filesystem::exists(expectedErr);

  ProcessRun run;
  run.workFolder = FreshWorkFolder("host", script);
  run.argv = {BuiltProgram("kora-host"), "--work", run.workFolder, BuiltProgram("libparvexkora.so"),
              script.string()};
  if (traced) {
    run.environment["PARVEX_TRACE"] = "1";
  } else {
    run.environment["PARVEX_TRACE"] = std::nullopt;
  }
  const ProcessResult result = RunProcess(run);
  EXPECT_EQ(result.exitCode, 0) << "kora-host did not end normally";
  ExpectMatchesFile(result.out, expectedOut.string());
  if (traced) {
    ExpectMatchesFile(result.err, expectedErr.string());
  } else {
    EXPECT_EQ(result.err, "") << "the standard error stream must stay empty without " << expectedErr.filename();
  }
}

}  // namespace parvex::testing
