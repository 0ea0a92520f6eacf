// Progress bar and busy spinner on standard error.
#include "progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>

#include "text_width.h"

namespace parvex::shell {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kQuietPeriod = std::chrono::milliseconds(300);  // nothing is drawn for shorter work
constexpr auto kRedrawPeriod = std::chrono::milliseconds(100);
constexpr size_t kDefaultWidth = 80;

size_t TerminalWidth() {
  struct winsize size = {};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  return kDefaultWidth;
}

void DrawLine(const std::string& line) {
  // "\r" back to the start, the text, then "erase to end of line".
  std::fprintf(stderr, "\r%s\x1b[K", line.c_str());
  std::fflush(stderr);
}

void EraseLine() {
  std::fputs("\r\x1b[K", stderr);
  std::fflush(stderr);
}

}  // namespace

bool ProgressEnabled() { return isatty(STDERR_FILENO) == 1; }

std::string RenderProgressLine(std::string_view label, uint64_t done, uint64_t total, size_t width) {
  if (done > total) done = total;
  const unsigned percent = total == 0 ? 100 : static_cast<unsigned>(done * 100 / total);
  const std::string counts = "  " + std::to_string(percent) + "%  (" + std::to_string(done) + "/" +
                             std::to_string(total) + ")";
  std::string line(label);
  line += "  ";
  // The bar takes what the label and the counts leave, between 10 and 40 cells.
  const size_t used = DisplayWidth(line) + counts.size();
  size_t cells = width > used + 1 ? width - used - 1 : 0;
  if (cells > 40) cells = 40;
  if (cells >= 10) {
    const size_t filled = total == 0 ? cells : static_cast<size_t>(done * cells / total);
    for (size_t i = 0; i < cells; ++i) line += i < filled ? "█" : "░";
  }
  return line + counts;
}

ProgressBar::ProgressBar(std::string label, uint64_t total, bool enabled)
    : mLabel(std::move(label)), mTotal(total), mEnabled(enabled && ProgressEnabled()), mStart(Clock::now()) {}

ProgressBar::~ProgressBar() {
  if (mDrawn) EraseLine();
}

void ProgressBar::Update(uint64_t done) {
  if (!mEnabled) return;
  const auto now = Clock::now();
  if (now - mStart < kQuietPeriod || (mDrawn && now - mLastDraw < kRedrawPeriod)) return;
  DrawLine(RenderProgressLine(mLabel, done, mTotal, TerminalWidth()));
  mDrawn = true;
  mLastDraw = now;
}

BusyIndicator::BusyIndicator(std::string label) : mLabel(std::move(label)) {
  if (ProgressEnabled()) mThread = std::thread([this] { Run(); });
}

BusyIndicator::~BusyIndicator() {
  if (!mThread.joinable()) return;
  {
    std::lock_guard<std::mutex> lock(mMutex);
    mDone = true;
  }
  mWake.notify_all();
  mThread.join();
}

void BusyIndicator::Run() {
  static const char* const kFrames[] = {"⠋", "⠙", "⠹", "⠸", "⠼", "⠴", "⠦", "⠧", "⠇", "⠏"};
  const auto start = Clock::now();
  std::unique_lock<std::mutex> lock(mMutex);
  if (mWake.wait_for(lock, kQuietPeriod, [this] { return mDone; })) return;
  for (unsigned frame = 0;; ++frame) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start).count();
    DrawLine(mLabel + " " + kFrames[frame % 10] + "  " + std::to_string(elapsed) + " s");
    if (mWake.wait_for(lock, kRedrawPeriod, [this] { return mDone; })) break;
  }
  EraseLine();
}

}  // namespace parvex::shell
