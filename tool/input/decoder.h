#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace audiomatch {

/// Decodes the sound of one file or pipe. Closes it in the end.
class Decoder {
 public:
  virtual ~Decoder() = default;

  virtual std::uint32_t sampleRate() const noexcept = 0;
  virtual std::uint32_t channels() const noexcept = 0;
  /// Frames that the header promises, 0 where it promises none.
  virtual std::uint64_t promisedFrames() const noexcept = 0;

  /// Writes up to `frames` frames, interleaved; returns how many. Fewer than
  /// asked for, or none, mean the end, or a problem.
  virtual std::size_t read(std::int16_t* samples, std::size_t frames) = 0;

  /// What is wrong where the last `read` stopped; empty at the end of the sound.
  virtual std::string problem() = 0;

  /// Goes on behind the problem that stopped `read`. Returns the frames that are
  /// missing there, as far as that can be told, or nothing when there are no
  /// more behind it or when there were too many problems already.
  virtual std::optional<std::uint64_t> resume() = 0;
};

/// The 16-bit sample that a recorder makes of a decoded one: times 32767, to
/// the nearest integer (halves away from zero), cut to what 16 bits hold. What
/// isn't a number is silence.
inline std::int16_t toPcm16(float sample) noexcept {
  if (std::isnan(sample)) return 0;
  // The product is exact in double precision, and no sum of it and a half is
  // rounded across an integer; a conversion that cuts is cheaper than std::round.
  const double scaled = std::clamp(static_cast<double>(sample) * 32767.0, -32768.0, 32767.0);
  return static_cast<std::int16_t>(static_cast<std::int32_t>(scaled + std::copysign(0.5, scaled)));
}

}  // namespace audiomatch
