#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tool/base/errors.h"
#include "tool/input/raw_format.h"

namespace audiomatch {

/// Where a recording is damaged first, and what its decoder says of it.
struct Damage {
  double second;
  std::string text;
};

/// Where and what it is, for people: "at 3.2 s: text".
std::string describe(const Damage& damage);

/// What is to be done about damage, wherever sound is read.
struct SoundOptions {
  bool strict = false;  ///< refuse damaged recordings rather than use what can be read
  bool ffmpeg = true;   ///< start ffmpeg for what only that can read
  /// Bring what isn't at 8000 Hz to that, in mono, rather than leave it to the engine.
  bool to_mono = false;
  /// Of a stranger's sound: decoded, of all channels together; `read` throws
  /// std::length_error beyond them.
  std::uint64_t most_samples = UINT64_MAX;
  bool or_raw = false;  ///< the user could have told of raw samples: said of what is no sound file
};

/// Sound as a phone's recorder would have delivered it, from front to back:
/// interleaved 16-bit samples at a rate that the engine takes. One thread at a
/// time; several sources may be read on several threads.
class SoundSource {
 public:
  virtual ~SoundSource() = default;

  virtual std::uint32_t sampleRate() const noexcept = 0;
  virtual std::uint32_t channels() const noexcept = 0;
  /// Frames that a file's header promises, 0 where it promises none. There may
  /// be more or fewer.
  virtual std::uint64_t promisedFrames() const noexcept = 0;
  /// Frames read and skipped so far.
  virtual std::uint64_t position() const noexcept = 0;

  /// Appends up to `frames` frames to `samples`, waiting for them as long as it
  /// takes. Returns how many came; fewer than asked for only at the end.
  ///
  /// What is damaged is left out and noted. Throws FileError when that isn't
  /// wanted (SoundOptions::strict), or when reading itself fails; Interrupted.
  virtual std::size_t read(std::vector<std::int16_t>& samples, std::size_t frames) = 0;

  /// The first damage met so far; none in a sound recording. Complete once
  /// `read` has come to the end.
  virtual const std::optional<Damage>& damage() const noexcept = 0;

  /// Drops up to `frames` frames by decoding them, which is exact in every
  /// format; returns how many there were. Throws as `read` does.
  std::uint64_t skip(std::uint64_t frames);

  /// Samples to make room for before up to `frames` more frames are read: those
  /// promised, within bounds, as a damaged header promises anything.
  std::size_t roomFor(std::uint64_t frames) const noexcept;
};

/// Opens a sound file. Throws FileError when it can't be read, isn't a sound
/// file, or has a rate that the engine doesn't take.
std::unique_ptr<SoundSource> openSound(const std::filesystem::path& path,
                                       const SoundOptions& options = {});

/// Opens standard input, whose sound may still be coming: `read` returns as
/// soon as the frames that it was asked for are there. With an InterruptGuard a
/// signal ends a `read` that waits, with Interrupted. At most one at a time.
///
/// @param raw  the shape of samples without a header; none for a sound file,
///             in any format that can be read without going back in it
/// Throws FileError as openSound does, for "standard input".
std::unique_ptr<SoundSource> openStandardInput(const std::optional<RawFormat>& raw,
                                               const SoundOptions& options = {});

/// Opens a recording that is held in memory, as openSound does a file. It is
/// copied.
///
/// @param name  for messages
/// @param raw   the shape of samples without a header; none for a sound file
std::unique_ptr<SoundSource> openSoundBytes(std::string_view bytes,
                                            const std::filesystem::path& name,
                                            const std::optional<RawFormat>& raw,
                                            const SoundOptions& options = {});

/// The same from a named pipe, whose writer may come later.
std::unique_ptr<SoundSource> openNamedPipe(const std::filesystem::path& path,
                                           const std::optional<RawFormat>& raw,
                                           const SoundOptions& options = {});

/// Warns the user of a recording's damage, if it has any.
///
/// @return kLeftOut if it has
ExitCode reportDamage(const std::filesystem::path& path, const std::optional<Damage>& damage);

}  // namespace audiomatch
