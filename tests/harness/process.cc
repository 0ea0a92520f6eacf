// Child processes for tests, through pipes and poll().
#include "harness/process.h"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace parvex::testing {

using Clock = std::chrono::steady_clock;

[[noreturn]] void ExecProgram(const ProcessRun& run) {
  for (const auto& [name, value] : run.environment) {
    if (value) {
      setenv(name.c_str(), value->c_str(), 1);
    } else {
      unsetenv(name.c_str());
    }
  }
  if (!run.workFolder.empty() && chdir(run.workFolder.c_str()) != 0) {
    std::perror("chdir");
    _exit(127);
  }
  std::vector<std::string> args = run.argv;
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  execv(argv[0], argv.data());
  std::perror("execv");
  _exit(127);
}

std::string BuiltProgram(const std::string& name) { return std::string(PARVEX_BINARY_DIR) + "/" + name; }

ProcessResult RunProcess(const ProcessRun& run) {
  ProcessResult result;
  int in[2], out[2], err[2];
  if (run.argv.empty() || pipe(in) != 0 || pipe(out) != 0 || pipe(err) != 0) return result;
  const pid_t pid = fork();
  if (pid == 0) {
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    dup2(err[1], STDERR_FILENO);
    for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]}) close(fd);
    ExecProgram(run);
  }
  close(in[0]);
  close(out[1]);
  close(err[1]);
  signal(SIGPIPE, SIG_IGN);  // the program may exit before reading all its input

  size_t written = 0;
  int writeFd = in[1];
  if (run.input.empty()) {
    close(writeFd);
    writeFd = -1;
  }
  const auto deadline = Clock::now() + run.limit;
  bool outOpen = true, errOpen = true;
  while ((outOpen || errOpen) && Clock::now() < deadline) {
    pollfd fds[3] = {{outOpen ? out[0] : -1, POLLIN, 0}, {errOpen ? err[0] : -1, POLLIN, 0}, {writeFd, POLLOUT, 0}};
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
      const ssize_t n = write(writeFd, run.input.data() + written, run.input.size() - written);
      if (n > 0) written += static_cast<size_t>(n);
      if (n < 0 || written == run.input.size()) {
        close(writeFd);
        writeFd = -1;
      }
    }
  }
  if (writeFd >= 0) close(writeFd);
  close(out[0]);
  close(err[0]);
  const bool timedOut = outOpen || errOpen;
  if (timedOut) kill(pid, SIGKILL);
  int status = 0;
  waitpid(pid, &status, 0);
  result.exitCode = !timedOut && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return result;
}

}  // namespace parvex::testing
