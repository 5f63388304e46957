#include "tool/output/progress.h"

#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "tool/output/status_line.h"
#include "tool/output/terminal.h"

namespace audiomatch {
namespace {

constexpr std::chrono::milliseconds kBetweenDrawings{100};

/// Columns that the bar may take: one less than there are, as the last one wraps
/// on some terminals; 0 where a line can't be taken back.
std::size_t barWidth() {
  const char* terminal = std::getenv("TERM");
  if (!terminal || std::string_view(terminal) == "dumb") return 0;
  const std::size_t width = terminalWidth(STDERR_FILENO);
  return width > 0 ? width - 1 : 0;
}

}  // namespace

Progress::Progress(bool wanted, std::uint64_t total)
    : Progress(wanted, WorkDone{0.0, static_cast<double>(total), WorkDone::Unit::kCount, 0.0}) {}

Progress Progress::ofSound(bool wanted, double totalSeconds) {
  return {wanted, WorkDone{0.0, totalSeconds, WorkDone::Unit::kSeconds, 0.0}};
}

Progress::Progress(bool wanted, const WorkDone& work)
    : width_(wanted ? barWidth() : 0), work_(work), begin_(Clock::now()) {
  if (width_ > 0) draw(begin_);
}

Progress::~Progress() {
  if (width_ > 0) showStatus({});
}

void Progress::step(std::uint64_t steps) {
  const std::lock_guard lock(mutex_);
  update(work_.done + static_cast<double>(steps));
}

void Progress::reach(double seconds) {
  const std::lock_guard lock(mutex_);
  update(seconds);
}

void Progress::update(double done) {
  work_.done = done;
  if (width_ == 0) return;
  const Clock::time_point now = Clock::now();
  if (now - drawn_ >= kBetweenDrawings) draw(now);
}

void Progress::draw(Clock::time_point now) {
  work_.elapsed = std::chrono::duration<double>(now - begin_).count();
  drawn_ = now;
  showStatus(progressText(work_, width_));
}

}  // namespace audiomatch
