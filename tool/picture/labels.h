#pragma once

#include <cstdint>
#include <string>

namespace audiomatch {

/// How times are written along an axis.
struct TimeLabels {
  double step;   ///< seconds from label to label
  bool minutes;  ///< m:ss rather than seconds
  bool hours;    ///< h:mm:ss
  int decimals;  ///< of the seconds

  /// A time as its label, such as 7.5, 1:07 or 1:02:07.
  std::string label(double seconds) const;

  /// The unit behind the axis's name: s, m:ss or h:mm:ss.
  std::string unit() const;
};

/// Labels at least `least` seconds apart for times up to `end`: on steps that
/// people count in, 1, 2, 5, 10, 15, 30 seconds and so on.
TimeLabels timeLabels(double least, double end);

/// A count with commas between thousands.
std::string countText(std::uint64_t count);

/// The smallest of 1, 2 and 5 times a power of ten from `least` on.
double niceStep(double least) noexcept;

}  // namespace audiomatch
