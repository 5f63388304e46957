#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "feature/audio_feature.h"
#include "recordings.h"

namespace bench {

/// Lengths of what is asked, in seconds; each is the begin of the next.
inline constexpr std::uint32_t kAskedSeconds[] = {3, 5, 10};

/// A piece of a recording, in one of the conditions.
struct Question {
  std::uint32_t excerpt;    ///< of the recording, from 0 on
  std::uint32_t condition;  ///< its place among all
  std::uint32_t seconds;
  std::uint32_t start;  ///< in the recording, in microseconds; of one at another speed, too
  std::vector<audio::AudioFeature> features;  ///< none of silence
};

/// Makes the questions about a recording: excerpts from random places, in each condition and
/// length. What was made before is read from `file`; else it is written there.
///
/// The places and all noises depend on `seed` and the recording's name only. An excerpt that is
/// silent is drawn again, and left out after a few times.
///
/// @param speech  of others, at 8 kHz
std::vector<Question> questionsAbout(const Listed& recording, std::uint32_t excerpts,
                                     std::uint64_t seed, const Sound& speech,
                                     const std::filesystem::path& file);

}  // namespace bench
