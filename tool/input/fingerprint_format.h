#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "feature/audio_feature.h"

namespace audiomatch {

/// Most features that a fingerprint has: a day of dense music. A few packed bytes
/// mustn't claim all the memory there is.
inline constexpr std::size_t kMostFeatures = std::size_t{1} << 25;

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

/// What is thrown for more features than `most`.
std::length_error tooManyFeatures(std::size_t most);

/// The bytes of a fingerprint, as docs/fingerprint-format.md gives them: less than
/// two for each feature of music. Its length is kept to the millisecond; features
/// may come in any order. Throws std::length_error for more than kMostFeatures.
std::string encodeFingerprint(Fingerprint fingerprint);

/// The reverse. On any other bytes than encodeFingerprint makes, nothing, and why
/// in `problem`: another version, cut, damaged. Throws std::length_error for more
/// features than `most`, before they are unpacked.
std::optional<Fingerprint> decodeFingerprint(std::string_view bytes, std::string& problem,
                                             std::size_t most = kMostFeatures);

/// Bytes as base64, in one piece with padding.
std::string toBase64(std::string_view bytes);

/// The reverse; blanks and line ends are passed over. Nothing for other text.
std::optional<std::string> fromBase64(std::string_view text);

}  // namespace audiomatch
