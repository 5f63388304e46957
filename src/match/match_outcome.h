#pragma once

namespace audio {

/// How the last match ended.
enum class MatchOutcome {
  kNone,             ///< no match was asked for yet
  kMatched,          ///< there is a best match
  kNoFeatures,       ///< the recording has none; its extraction's outcome tells why
  kNoHits,           ///< no feature of it is in the database, or no attribute was given
  kNoAgreement,      ///< there were hits, and no audio to name: best is what nothing was found for
  kNoDatabase,       ///< the matcher has none
  kNoRecording,      ///< no recording was given, or there is nothing to analyse it with
  kDamagedDatabase,  ///< the database claims entries that its file hasn't got
  kOutOfMemory,
};

}  // namespace audio
