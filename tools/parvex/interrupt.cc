// Signal flags of the shell.
#include "interrupt.h"

#include <atomic>
#include <csignal>


namespace parvex::shell {
namespace {

volatile std::sig_atomic_t gInterrupted = 0;
volatile std::sig_atomic_t gResized = 0;

std::atomic<parvex_db*> gTarget{nullptr};

extern "C" void OnInterrupt(int) {
  gInterrupted = 1;
  if (parvex_db* database = gTarget.load()) parvex_interrupt(database);  // signal-safe
}
extern "C" void OnResize(int) { gResized = 1; }

}  // namespace

void InstallSignalHandlers() {
  struct sigaction action = {};
  sigemptyset(&action.sa_mask);
  action.sa_handler = OnInterrupt;
  action.sa_flags = 0;  // no SA_RESTART: a blocking read returns with EINTR
  sigaction(SIGINT, &action, nullptr);
  action.sa_handler = OnResize;
  action.sa_flags = SA_RESTART;
  sigaction(SIGWINCH, &action, nullptr);
}

void SetInterruptTarget(parvex_db* database) { gTarget.store(database); }

bool InterruptRequested() { return gInterrupted != 0; }

void ClearInterrupt() { gInterrupted = 0; }

bool TakeWindowResized() {
  if (gResized == 0) return false;
  gResized = 0;
  return true;
}

}  // namespace parvex::shell
