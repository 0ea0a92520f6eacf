// Keeps the user's guide to the dialect (docs/sql.md) true: every shell
// transcript in it, a fenced block whose first line starts with the prompt, is
// run again on a fresh copy of the demo database, one shell per prompt (box
// output and warnings, as at a terminal; standard error after standard
// output), and the guide must equal itself with each transcript's output
// replaced by what the shell printed.
// PARVEX_ACCEPT=1 writes the guide with the new outputs.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>

#include "harness/golden.h"
#include "shell_process.h"

namespace parvex::shell::testing {
namespace {

constexpr std::string_view kPrompt = "parvex> ";
constexpr std::string_view kContinuation = "   ...> ";

// The guide with every transcript's output printed anew.
class TranscriptRunner {
 public:
  explicit TranscriptRunner(std::string demoPath) : mDemo(std::move(demoPath)), mDatabase(mDemo + ".copy") {}

  std::string Rewrite(const std::string& guide) {
    std::istringstream in(guide);
    std::string line;
    bool inFence = false;
    bool atFenceStart = false;
    while (std::getline(in, line)) {
      if (line.starts_with("```")) {
        RunEntry();
        mInTranscript = false;
        inFence = !inFence;
        atFenceStart = inFence;
        mOut += line + '\n';
        continue;
      }
      if (atFenceStart && line.starts_with(kPrompt)) {
        mInTranscript = true;
        ++mTranscripts;
        std::filesystem::copy_file(mDemo, mDatabase, std::filesystem::copy_options::overwrite_existing);
      }
      atFenceStart = false;
      if (!mInTranscript) {
        mOut += line + '\n';
      } else if (line.starts_with(kPrompt)) {
        RunEntry();
        mOut += line + '\n';
        mEntry = line.substr(kPrompt.size());
      } else if (line.starts_with(kContinuation) && !mEntry.empty()) {
        mOut += line + '\n';
        mEntry += '\n' + line.substr(kContinuation.size());
      }  // any other line is output of the last run, printed anew
    }
    return mOut;
  }

  int Transcripts() const { return mTranscripts; }

 private:
  void RunEntry() {
    if (mEntry.empty()) return;
    const ShellResult result = RunShell({"--box", "--warnings", mDatabase, mEntry});
    std::string printed = result.out + result.err;
    if (!printed.empty() && printed.back() != '\n') printed += '\n';
    mOut += printed;
    mEntry.clear();
  }

  std::string mDemo;
  std::string mDatabase;
  std::string mOut;
  std::string mEntry;
  bool mInTranscript = false;
  int mTranscripts = 0;
};

TEST(SqlGuideTest, EveryTranscriptShowsWhatTheShellPrints) {
  const std::string guidePath = std::string(PARVEX_SOURCE_DIR) + "/docs/sql.md";
  const std::string guide = ReadFile(guidePath);
  ASSERT_FALSE(guide.empty()) << guidePath;

  TempDir folder;
  const std::string demo = folder.File("demo.pvx");
  const ShellResult made = RunShell({demo}, ReadFile(std::string(PARVEX_SOURCE_DIR) + "/tools/parvex/demo.sql"));
  ASSERT_EQ(made.exitCode, 0) << made.err;

  TranscriptRunner runner(demo);
  const std::string rewritten = runner.Rewrite(guide);
  EXPECT_GT(runner.Transcripts(), 10);
  ::parvex::testing::ExpectSameText(guide, rewritten, guidePath);
}

}  // namespace
}  // namespace parvex::shell::testing
