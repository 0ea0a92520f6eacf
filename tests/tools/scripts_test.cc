// The shell scripts of tests/tools/scripts, each a series of runs of the
// parvex shell compared with its transcript (see tests/harness/shell_script.h).
#include "harness/script_test.h"
#include "harness/shell_script.h"

namespace {
PARVEX_SCRIPT_TESTS(ShellScriptTest, "tests/tools/scripts", ".sql", ::parvex::testing::RunShellScript);
}  // namespace
