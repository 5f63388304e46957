#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "feature/audio_feature.h"

namespace audiomatch {

/// What a recording is recognised by, apart from the recording.
struct Fingerprint {
  std::vector<audio::AudioFeature> features;  ///< sorted by key, then time; each pair once
  double seconds = 0.0;                       ///< the recording's length, 0 when it isn't known

  friend bool operator==(const Fingerprint&, const Fingerprint&) = default;
};

/// What the bytes of a fingerprint begin with.
inline constexpr std::string_view kFingerprintMagic = "AMFP";
/// What their base64 begins with.
inline constexpr std::string_view kFingerprintMagicBase64 = "QU1GU";

/// The bytes of a fingerprint, as docs/fingerprint-format.md gives them: less than
/// two for each feature of music. Its length is kept to the millisecond; features
/// may come in any order. Throws std::length_error for more than 2^25 of them.
std::string encodeFingerprint(Fingerprint fingerprint);

/// The reverse. On any other bytes than encodeFingerprint makes, nothing, and why
/// in `problem`: another version, cut, damaged.
std::optional<Fingerprint> decodeFingerprint(std::string_view bytes, std::string& problem);

/// Bytes as base64, in one piece with padding.
std::string toBase64(std::string_view bytes);

/// The reverse; blanks and line ends are passed over. Nothing for other text.
std::optional<std::string> fromBase64(std::string_view text);

}  // namespace audiomatch
