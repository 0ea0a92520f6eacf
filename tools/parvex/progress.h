// Progress shown on standard error while long work runs, only when standard
// error is a terminal (never in scripts or captured output).
//
// ProgressBar draws "Label  ████████░░░░░░░░  52%  (1300/2500)" for work of a
// known size; BusyIndicator draws a spinner with the elapsed time for work
// whose progress can't be measured (a commit inside the engine), from a thread
// of its own that touches nothing but standard error. Both stay silent for
// work that ends quickly, redraw at most ten times a second, and erase their
// line when done.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace parvex::shell {

// Whether standard error is a terminal (progress is drawn only then).
bool ProgressEnabled();

// The bar's line for `done` of `total` in a terminal `width` columns wide.
std::string RenderProgressLine(std::string_view label, uint64_t done, uint64_t total, size_t width);

class ProgressBar {
 public:
  // `enabled` false keeps the bar silent (e.g. when the work's own output
  // goes to the same terminal).
  ProgressBar(std::string label, uint64_t total, bool enabled = ProgressEnabled());
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar();

  void Update(uint64_t done);

 private:
  std::string mLabel;
  uint64_t mTotal;
  bool mEnabled;
  bool mDrawn = false;
  std::chrono::steady_clock::time_point mStart;
  std::chrono::steady_clock::time_point mLastDraw;
};

class BusyIndicator {
 public:
  explicit BusyIndicator(std::string label);
  BusyIndicator(const BusyIndicator&) = delete;
  BusyIndicator& operator=(const BusyIndicator&) = delete;
  ~BusyIndicator();

 private:
  void Run();

  std::string mLabel;
  std::mutex mMutex;
  std::condition_variable mWake;
  bool mDone = false;
  std::thread mThread;
};

}  // namespace parvex::shell
