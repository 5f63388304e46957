#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace audiomatch {

/// How far some work has come.
struct WorkDone {
  enum class Unit { kCount, kSeconds };  ///< things, or seconds of sound

  double done = 0.0;
  double total = 0.0;  ///< 0 when nobody knows
  Unit unit = Unit::kCount;
  double elapsed = 0.0;  ///< seconds since it began
};

/// Seconds as "0:09", "12:34" or "1:02:03", rounded up.
std::string wholeClockTime(double seconds);

/// A line of at most `width` columns, from 20 on: how much is done, as a bar if
/// there is room, in percent and in numbers, and the time that the rest takes if
/// it goes on as so far. Without a total: what is done, and how many times as fast
/// as it plays.
std::string progressText(const WorkDone& work, std::size_t width);

}  // namespace audiomatch
