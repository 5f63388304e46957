#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/audio_data.h"
#include "dsp/resampler.h"
#include "tool/input/sound_source.h"
#include "tool/recognition/loudness.h"

namespace audiomatch {

/// How a long sound is cut into windows, in seconds.
struct WindowGrid {
  double length = 10.0;
  double every = 5.0;  ///< from the end of one window to the end of the next
};

/// A window of a sound.
struct Window {
  TimeSpan span;
  audio::AudioDataPtr sound;
  std::vector<TimeSpan> silences;  ///< found so far and not yet forgotten
};

/// Cuts a sound of any length into windows as it comes.
///
/// Windows end every `every` seconds and at the end of the sound. The first
/// ones are shorter: what there is by then. The sound is brought to the
/// engine's 8000 Hz once and not window by window; one window of that is held.
class ListeningWindows {
 public:
  /// Throws std::bad_alloc.
  ///
  /// @param source  at its first sample; outlives this object
  ListeningWindows(SoundSource& source, const WindowGrid& grid);

  /// The next window, or nothing after the last. Throws as the source does.
  ///
  /// @param settled  the second before which silences may be forgotten
  std::optional<Window> next(double settled);

 private:
  void append(const std::vector<std::int16_t>& samples);

  SoundSource& source_;
  WindowGrid grid_;
  SilenceFinder silences_;
  audio::Resampler resampler_;
  std::vector<float> sound_;       // the latest, mono, 8000 Hz
  std::uint64_t frames_read_ = 0;  // of the source
  std::uint64_t steps_ = 0;
  bool ended_ = false;
};

}  // namespace audiomatch
