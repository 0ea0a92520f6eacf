// The host scripts of tests/host/scripts, each run in kora-host against the
// plug-in (see tests/harness/host_script.h).
#include "harness/host_script.h"
#include "harness/script_test.h"

namespace {
PARVEX_SCRIPT_TESTS(HostScriptTest, "tests/host/scripts", ".kora", ::parvex::testing::RunHostScript);
}  // namespace
