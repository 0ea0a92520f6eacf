// SessionSentry: marks the time the host spends inside the plug-in.
//
// Every entry point (the plug-in entry, class methods, engine and cursor
// callbacks, design-time entries) creates one on entry; it raises a process-
// wide counter and lowers it again when the entry point returns, whatever
// path it takes. All host calls arrive on one thread, so the counter needs no
// lock; it tells re-entrant calls (the host calling back while the plug-in
// is inside a host service) from fresh ones, and a host can read it through
// the exported ParvexSessionDepth to check that calls are balanced.
//
// Trace writes the binding's debug lines to the standard error stream, only
// when the environment variable PARVEX_TRACE is set (read once).
#pragma once

#include <string_view>

namespace parvex::kora {

class SessionSentry {
 public:
  SessionSentry() { ++sDepth; }
  ~SessionSentry() { --sDepth; }
  SessionSentry(const SessionSentry&) = delete;
  SessionSentry& operator=(const SessionSentry&) = delete;

  static int Depth() { return sDepth; }

 private:
  static inline int sDepth = 0;
};

bool TraceEnabled();
// Writes `line` and a line feed to stderr when tracing is on.
void Trace(std::string_view line);

}  // namespace parvex::kora
