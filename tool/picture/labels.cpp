#include "tool/picture/labels.h"

#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace audiomatch {
namespace {

constexpr double kMinute = 60.0;
constexpr double kHour = 3600.0;

// Between a second and an hour people don't count in powers of ten.
constexpr std::array<double, 14> kSteps = {1,   2,   5,   10,  15,   30,    60,
                                           120, 300, 600, 900, 1800, kHour, 2 * kHour};

double timeStep(double least) {
  if (least <= kSteps.front() / 2) return niceStep(least);
  const auto* const step = std::ranges::lower_bound(kSteps, least);
  return step != kSteps.end() ? *step : kHour * niceStep(least / kHour);
}

}  // namespace

std::string TimeLabels::label(double seconds) const {
  // Rounded first: 59.96 with one decimal is a minute.
  const double unit = std::pow(10.0, -decimals);
  const double rounded = std::round(std::fabs(seconds) / unit) * unit;
  const char* sign = seconds < 0 && rounded > 0 ? "\u2212" : "";
  if (!minutes) return fmt::format("{}{:.{}f}", sign, rounded, decimals);
  const double whole_minutes = std::floor((rounded + unit / 2) / kMinute);
  const std::string rest =
      fmt::format("{:0{}.{}f}", std::max(rounded - whole_minutes * kMinute, 0.0),
                  decimals > 0 ? decimals + 3 : 2, decimals);
  if (!hours) return fmt::format("{}{:.0f}:{}", sign, whole_minutes, rest);
  const double whole_hours = std::floor(whole_minutes / 60);
  return fmt::format("{}{:.0f}:{:02.0f}:{}", sign, whole_hours, whole_minutes - whole_hours * 60,
                     rest);
}

std::string TimeLabels::unit() const { return hours ? "h:mm:ss" : minutes ? "m:ss" : "s"; }

TimeLabels timeLabels(double least, double end) {
  const double step = timeStep(least);
  const int decimals = step < 1.0 ? static_cast<int>(std::ceil(-std::log10(step) - 1e-9)) : 0;
  return {step, end >= kMinute, end >= kHour, decimals};
}

std::string countText(std::uint64_t count) {
  const std::string digits = std::to_string(count);
  std::string text;
  for (std::size_t place = 0; place < digits.size(); ++place) {
    if (place > 0 && (digits.size() - place) % 3 == 0) text += ',';
    text += digits[place];
  }
  return text;
}

double niceStep(double least) noexcept {
  const double power = std::pow(10.0, std::floor(std::log10(least)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= least) return factor * power;
  }
  return 10.0 * power;
}

}  // namespace audiomatch
