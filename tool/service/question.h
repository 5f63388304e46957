#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/audio_data.h"
#include "feature/audio_feature.h"
#include "feature/extraction_outcome.h"
#include "tool/base/errors.h"
#include "tool/input/raw_format.h"
#include "tool/input/sound_source.h"
#include "tool/service/http_error.h"
#include "tool/service/http_message.h"

namespace audiomatch {

/// The longest recording that a question may have.
inline constexpr double kLongestQuestion = 60.0;  // seconds
/// Most bytes of its request: a minute of 16-bit stereo at 48 kHz has 11.5 MB.
inline constexpr std::size_t kLargestQuestion = std::size_t{32} << 20;

/// Most features that it may have: a minute of stereo noise at 48 kHz has 31,303.
inline constexpr std::size_t kMostQuestionFeatures = 100'000;

/// A recording to be recognised.
struct Question {
  std::vector<audio::AudioFeature> features;  ///< sorted by key, then time; may be empty
  double seconds = 0.0;                       ///< of the recording; 0 when not known
  /// What came of its analysis; kFeatures for features that were sent.
  audio::ExtractionOutcome outcome = audio::ExtractionOutcome::kFeatures;
  std::optional<Damage> damage;  ///< of the recording
  audio::AudioDataPtr sound;     ///< the recording, where it is to be drawn; else null
};

/// The shape of raw samples that a request's query gives (rate, channels, format); nothing
/// when it gives none. Throws HttpError with 400.
std::optional<RawFormat> rawFormatOf(const HttpRequest& request);

/// Whether a request's query asks for something by name: 1, or 0 as without it. Throws HttpError
/// with 400 for another value.
bool asksFor(const HttpRequest& request, const std::string& name);

/// Whether an answer is to come with a drawing (?drawing=1).
inline bool wantsDrawing(const HttpRequest& request) { return asksFor(request, "drawing"); }

/// Why something isn't a recording, and what may help, from what its reading came to.
HttpError notARecording(const HttpRequest& request, const FileError& error);

/// Reads a question from a request's body: the features that a phone made, as JSON
/// ({"features": [[startTime, hashKey], ...]}) or in any form that `features`
/// writes; raw samples, where the query names their rate, channels or format; or
/// a sound file. Throws HttpError with 400 for a wrong shape, 413 for a recording
/// that is too long or has too many features, 415 for what isn't a recording, 503 when
/// the system can't hold it, and std::bad_alloc.
Question readQuestion(const HttpRequest& request);

}  // namespace audiomatch
