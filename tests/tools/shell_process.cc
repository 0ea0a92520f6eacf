// Child processes for the shell's tests.
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
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace parvex::shell::testing {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kRunLimit = std::chrono::seconds(60);

// Replaces the child's process image with the shell; never returns.
[[noreturn]] void ExecShell(const std::vector<std::string>& args, const std::string& home) {
  if (!home.empty()) setenv("HOME", home.c_str(), 1);
  std::vector<std::string> all = {ShellBinary()};
  all.insert(all.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (std::string& arg : all) argv.push_back(arg.data());
  argv.push_back(nullptr);
  execv(argv[0], argv.data());
  std::perror("execv");
  _exit(127);
}

int ExitCodeOf(int status) { return WIFEXITED(status) ? WEXITSTATUS(status) : -1; }

}  // namespace

std::string ShellBinary() { return std::string(PARVEX_BINARY_DIR) + "/parvex"; }

std::string ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

ShellResult RunShell(const std::vector<std::string>& args, const std::string& input, const std::string& home) {
  int in[2], out[2], err[2];
  if (pipe(in) != 0 || pipe(out) != 0 || pipe(err) != 0) throw std::runtime_error("pipe failed");
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    dup2(err[1], STDERR_FILENO);
    for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]}) close(fd);
    ExecShell(args, home);
  }
  close(in[0]);
  close(out[1]);
  close(err[1]);
  signal(SIGPIPE, SIG_IGN);  // the shell may exit before reading all its input

  ShellResult result;
  size_t written = 0;
  int writeFd = in[1];
  if (input.empty()) {
    close(writeFd);
    writeFd = -1;
  }
  const auto deadline = Clock::now() + kRunLimit;
  bool outOpen = true, errOpen = true;
  while ((outOpen || errOpen) && Clock::now() < deadline) {
    pollfd fds[3] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}, {writeFd, POLLOUT, 0}};
    if (!outOpen) fds[0].fd = -1;
    if (!errOpen) fds[1].fd = -1;
    if (poll(fds, 3, 100) < 0 && errno != EINTR) break;
    char buffer[65536];
    for (int k = 0; k < 2; ++k) {
      if (fds[k].revents & (POLLIN | POLLHUP | POLLERR)) {
        const ssize_t n = read(fds[k].fd, buffer, sizeof buffer);
        if (n > 0) {
          (k == 0 ? result.out : result.err).append(buffer, static_cast<size_t>(n));
        } else {
          (k == 0 ? outOpen : errOpen) = false;
        }
      }
    }
    if (writeFd >= 0 && (fds[2].revents & (POLLOUT | POLLERR | POLLHUP))) {
      const ssize_t n = write(writeFd, input.data() + written, input.size() - written);
      if (n > 0) written += static_cast<size_t>(n);
      if (n < 0 || written == input.size()) {
        close(writeFd);
        writeFd = -1;
      }
    }
  }
  if (writeFd >= 0) close(writeFd);
  close(out[0]);
  close(err[0]);
  if (outOpen || errOpen) kill(pid, SIGKILL);  // over the time limit
  int status = 0;
  waitpid(pid, &status, 0);
  result.exitCode = (outOpen || errOpen) ? -1 : ExitCodeOf(status);
  return result;
}

PtySession::PtySession(const std::vector<std::string>& args, const std::string& home) {
  struct winsize size = {};
  size.ws_row = 30;
  size.ws_col = 100;
  mPid = forkpty(&mMaster, nullptr, nullptr, &size);
  if (mPid < 0) throw std::runtime_error("forkpty failed");
  if (mPid == 0) {
    setenv("TERM", "xterm", 1);
    ExecShell(args, home);
  }
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
