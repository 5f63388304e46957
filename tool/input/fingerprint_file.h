#pragma once

#include <filesystem>
#include <optional>
#include <string_view>

#include "tool/input/fingerprint_format.h"

namespace audiomatch {

/// True when bytes begin as a fingerprint does: binary, base64, JSON (an object a
/// line) or CSV with its heading, as `features` writes them. `kFingerprintStart`
/// bytes are enough to tell.
bool looksLikeFingerprint(std::string_view bytes) noexcept;
inline constexpr std::size_t kFingerprintStart = 17;

/// The fingerprint that whole contents are, which look like one. Its features are
/// sorted by key and time. Throws FileError, with `path` as the name, for contents
/// that are damaged, the text names the line of JSON or CSV; and std::length_error for
/// more features than `most`.
Fingerprint parseFingerprint(std::string_view contents, const std::filesystem::path& path,
                             std::size_t most = kMostFeatures);

/// The fingerprint that a file holds; nothing when the file doesn't look like one,
/// can't be opened or isn't a regular file, so that it is a recording or nothing.
/// Throws FileError as parseFingerprint does and when reading fails.
std::optional<Fingerprint> readFingerprint(const std::filesystem::path& path);

}  // namespace audiomatch
