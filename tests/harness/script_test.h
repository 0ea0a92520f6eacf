// Script tests: every file of one kind in a folder of the source tree is one
// test, so adding a case is adding a file. (The root CMakeLists.txt gives
// each script file its own ctest, globbing the folders at every build.)
//
//   PARVEX_SCRIPT_TESTS(SqlScriptTest, "tests/sql/scripts", ".sql", RunSqlScript);
//
// declares the test Scripts/SqlScriptTest.Runs/<name> for each
// tests/sql/scripts/<name>.sql, calling RunSqlScript(path) in it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace parvex::testing {

// The files of `folder` (relative to the source tree) ending in `extension`,
// sorted by name.
std::vector<std::filesystem::path> ScriptFiles(const std::string& folder, const std::string& extension);

// A script's test name: its file name without the extension, with every
// character other than a letter or digit made '_'.
std::string ScriptTestName(const ::testing::TestParamInfo<std::filesystem::path>& info);

// The folder where a script of `kind` runs and leaves what it made, under
// the build tree; emptied first.
std::string FreshWorkFolder(const std::string& kind, const std::filesystem::path& script);

}  // namespace parvex::testing

#define PARVEX_SCRIPT_TESTS(suite, folder, extension, run)                                          \
  class suite : public ::testing::TestWithParam<std::filesystem::path> {};                          \
  TEST_P(suite, Runs) { run(GetParam()); }                                                          \
  INSTANTIATE_TEST_SUITE_P(Scripts, suite,                                                          \
                           ::testing::ValuesIn(::parvex::testing::ScriptFiles(folder, extension)), \
                           ::parvex::testing::ScriptTestName)
