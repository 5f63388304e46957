#include "tool/output/progress_text.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

namespace audiomatch {
namespace {

constexpr std::size_t kWidestBar = 40;
constexpr std::size_t kNarrowestBar = 4;
// Before that an estimate says more about the start than about the work.
constexpr double kSecondsToEstimate = 1.0;
// Longer estimates are hardly true.
constexpr double kLongestEstimate = 100.0 * 3600.0;

std::string amount(double value, WorkDone::Unit unit) {
  return unit == WorkDone::Unit::kCount ? fmt::format("{:.0f}", value) : wholeClockTime(value);
}

std::string timeLeft(const WorkDone& work) {
  if (work.done <= 0.0 || work.elapsed < kSecondsToEstimate) return {};
  const double left = work.elapsed * std::max(work.total - work.done, 0.0) / work.done;
  return left < kLongestEstimate ? fmt::format("  {} left", wholeClockTime(left)) : "";
}

std::string withoutTotal(const WorkDone& work) {
  if (work.unit == WorkDone::Unit::kCount) return fmt::format("{:.0f} done", work.done);
  std::string text = fmt::format("{} of sound", wholeClockTime(work.done));
  if (work.elapsed >= kSecondsToEstimate) {
    text += fmt::format("  {:.1f} x as it plays", work.done / work.elapsed);
  }
  return text;
}

std::string bar(double share, std::size_t length) {
  const auto full = static_cast<std::size_t>(share * static_cast<double>(length));
  return '[' + std::string(full, '#') + std::string(length - full, ' ') + "]  ";
}

}  // namespace

std::string wholeClockTime(double seconds) {
  const auto whole = static_cast<std::uint64_t>(std::ceil(std::max(seconds, 0.0)));
  const std::uint64_t hours = whole / 3600;
  const std::uint64_t minutes = whole / 60 % 60;
  if (hours > 0) return fmt::format("{}:{:02}:{:02}", hours, minutes, whole % 60);
  return fmt::format("{}:{:02}", minutes, whole % 60);
}

std::string progressText(const WorkDone& work, std::size_t width) {
  if (work.total <= 0.0) return withoutTotal(work).substr(0, width);
  const double share = std::clamp(work.done / work.total, 0.0, 1.0);
  // The percentage rounds down: 100 % is the end.
  std::string text = fmt::format("{:3.0f}%  {}/{}", std::floor(share * 100.0),
                                 amount(work.done, work.unit), amount(work.total, work.unit));
  const std::string left = timeLeft(work);
  if (text.size() + left.size() <= width) text += left;
  const std::size_t around = bar(0.0, 0).size();
  if (text.size() + around + kNarrowestBar <= width) {
    text = bar(share, std::min(width - text.size() - around, kWidestBar)) + text;
  }
  return text.substr(0, width);
}

}  // namespace audiomatch
