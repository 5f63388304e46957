#pragma once

namespace audio {

/// How the last match ended.
enum class MatchOutcome {
  kNone,             ///< no match was asked for yet
  kMatched,          ///< there is a best match
  kNoFeatures,       ///< of a recording, whose extraction's outcome tells why, or none were given
  kNoHits,           ///< no feature of it is in the database, or no attribute was given
  kNoAgreement,      ///< the hits name no audio: best is a placeholder, or an index from 2^31 on
  kNoDatabase,       ///< the matcher has none
  kNoRecording,      ///< none was given, or there is no extractor to analyse it with
  kDamagedDatabase,  ///< the database claims entries that its file hasn't got
  kOutOfMemory,
};

}  // namespace audio
