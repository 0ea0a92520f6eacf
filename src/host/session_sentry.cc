// Debug trace switch of the binding.
#include "host/session_sentry.h"

#include <cstdio>
#include <cstdlib>

namespace parvex::kora {

bool TraceEnabled() {
  static const bool enabled = std::getenv("PARVEX_TRACE") != nullptr;
  return enabled;
}

void Trace(std::string_view line) {
  if (!TraceEnabled()) return;
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fputc('\n', stderr);
  std::fflush(stderr);
}

}  // namespace parvex::kora
