#pragma once

#include <cstdint>
#include <deque>
#include <span>
#include <vector>

namespace audiomatch {

/// A stretch of time, in seconds.
struct TimeSpan {
  double from;
  double to;
  double length() const noexcept { return to - from; }
};

/// Finds the silences of a sound that comes piece by piece: stretches in which
/// the root mean square of every quarter of a second stays below -60 dB of full
/// scale.
class SilenceFinder {
 public:
  SilenceFinder(std::uint32_t sampleRate, std::uint32_t channels);

  /// Takes the next samples, interleaved, whole frames.
  void add(std::span<const std::int16_t> samples);

  /// The silences found so far that end after `second`, in order; earlier ones
  /// are forgotten.
  std::vector<TimeSpan> since(double second);

 private:
  void endBlock();

  std::size_t block_samples_;
  double block_seconds_;
  std::size_t in_block_ = 0;
  double squares_ = 0.0;
  std::uint64_t blocks_ = 0;
  std::deque<TimeSpan> silences_;
};

}  // namespace audiomatch
