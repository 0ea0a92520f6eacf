// Golden-text comparison for script tests: a test's output is compared with
// the expected text kept next to its script, and a difference fails the test
// with a unified diff (lines starting '-' are expected, '+' what came out).
//
// With PARVEX_ACCEPT=1 in the environment, a differing (or missing) expected
// file is overwritten with what came out and the test passes: the way to
// record the output of a new script, to be read over before it is committed.
#pragma once

#include <string>

namespace parvex::testing {

// Fails the running test when `actual` differs from `expected`, which is the
// content of `expectedPath` (the file that PARVEX_ACCEPT rewrites).
void ExpectSameText(const std::string& expected, const std::string& actual, const std::string& expectedPath);

// ExpectSameText against the file itself; a missing file counts as empty.
void ExpectMatchesFile(const std::string& actual, const std::string& expectedPath);

// True when PARVEX_ACCEPT=1 is set.
bool AcceptingOutput();

}  // namespace parvex::testing
