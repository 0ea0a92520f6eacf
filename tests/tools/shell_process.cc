// The shell on a pseudo-terminal.
#include "shell_process.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "harness/process.h"

namespace parvex::shell::testing {
namespace {

using Clock = std::chrono::steady_clock;

int ExitCodeOf(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : -1; }

// The shell with `args`, HOME at `home` when given.
::parvex::testing::ProcessRun ShellRun(const std::vector<std::string>& args, const std::string& home) {
  ::parvex::testing::ProcessRun run;
  run.argv = {::parvex::testing::BuiltProgram("parvex")};
  run.argv.insert(run.argv.end(), args.begin(), args.end());
  if (!home.empty()) run.environment["HOME"] = home;
  return run;
}

}  // namespace

ShellResult RunShell(const std::vector<std::string>& args, const std::string& input) {
  ::parvex::testing::ProcessRun run = ShellRun(args, "");
  run.input = input;
  return ::parvex::testing::RunProcess(run);
}

PtySession::PtySession(const std::vector<std::string>& args, const std::string& home) {
  ::parvex::testing::ProcessRun run = ShellRun(args, home);
  run.environment["TERM"] = "xterm";
  struct winsize size = {};
  size.ws_row = 30;
  size.ws_col = 100;
  mPid = forkpty(&mMaster, nullptr, nullptr, &size);
  if (mPid < 0) throw std::runtime_error("forkpty failed");
  if (mPid == 0) ::parvex::testing::ExecProgram(run);
  fcntl(mMaster, F_SETFL, fcntl(mMaster, F_GETFL) | O_NONBLOCK);
}

PtySession::~PtySession() {
  if (mPid > 0) {
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
  }
  if (mMaster >= 0) close(mMaster);
}

void PtySession::Send(const std::string& keys) {
  size_t written = 0;
  const auto deadline = Clock::now() + std::chrono::seconds(5);
  while (written < keys.size() && Clock::now() < deadline) {
    const ssize_t n = write(mMaster, keys.data() + written, keys.size() - written);
    if (n > 0) {
      written += static_cast<size_t>(n);
    } else {
      ReadSome(std::chrono::milliseconds(10));  // let the shell drain the terminal
    }
  }
}

bool PtySession::ReadSome(std::chrono::milliseconds limit) {
  pollfd fd = {mMaster, POLLIN, 0};
  if (poll(&fd, 1, static_cast<int>(limit.count())) <= 0) return true;
  char buffer[4096];
  const ssize_t n = read(mMaster, buffer, sizeof buffer);
  if (n > 0) {
    mOutput.append(buffer, static_cast<size_t>(n));
    return true;
  }
  return n < 0 && (errno == EAGAIN || errno == EINTR);  // EIO: the shell is gone
}

bool PtySession::WaitFor(const std::string& text, std::chrono::milliseconds limit) {
  const auto deadline = Clock::now() + limit;
  for (;;) {
    const size_t found = mOutput.find(text, mConsumed);
    if (found != std::string::npos) {
      mConsumed = found + text.size();
      return true;
    }
    if (Clock::now() >= deadline || !ReadSome(std::chrono::milliseconds(50))) return false;
  }
}

bool PtySession::WaitForPrompt(const std::string& prompt) {
  if (!WaitFor(prompt)) return false;
  const auto deadline = Clock::now() + std::chrono::seconds(10);
  while (Clock::now() < deadline) {
    termios mode = {};
    if (tcgetattr(mMaster, &mode) != 0) return false;
    if ((mode.c_lflag & ICANON) == 0) return true;
    ReadSome(std::chrono::milliseconds(5));
  }
  return false;
}

int PtySession::Wait(std::chrono::milliseconds limit) {
  const auto deadline = Clock::now() + limit;
  while (Clock::now() < deadline) {
    ReadSome(std::chrono::milliseconds(20));
    int status = 0;
    if (waitpid(mPid, &status, WNOHANG) == mPid) {
      mPid = -1;
      // Collect what the shell wrote before it ended.
      for (;;) {
        pollfd fd = {mMaster, POLLIN, 0};
        if (poll(&fd, 1, 0) <= 0 || !ReadSome(std::chrono::milliseconds(0))) break;
      }
      return ExitCodeOf(status);
    }
  }
  return -1;
}

}  // namespace parvex::shell::testing
