#pragma once

namespace audio {

/// What came of fingerprinting a recording.
enum class ExtractionOutcome {
  kNone,             ///< nothing yet: no extraction since the recording was loaded
  kFeatures,         ///< there are features
  kNotReady,         ///< no recording is loaded, or nothing to analyse it with
  kUnsupportedRate,  ///< its rate lies outside kLowestRate to kHighestRate
  kTooLong,          ///< more samples than one block of the resampler holds
  kTooShort,         ///< a pass has no whole frame
  kSilent,           ///< no magnitude above the single-precision epsilon
  kNoLandMarks,      ///< no two peaks close to each other
  kOutOfMemory,
};

}  // namespace audio
