#pragma once

#include <cstddef>
#include <string>

#include "tool/service/http_message.h"
#include "tool/store/reference_store.h"

namespace audiomatch {

/// The longest reference that can be uploaded, in seconds, most bytes of its request, and most
/// features of a fingerprint: two hours of noise at 48 kHz have 3.8 million.
inline constexpr double kLongestReference = 7200.0;
inline constexpr std::size_t kLargestReference = std::size_t{64} << 20;
inline constexpr std::size_t kMostReferenceFeatures = 4'000'000;

/// Reads a reference from a request: its name from the query's "name", and its
/// entries from the body, a sound file, raw samples, or a fingerprint that
/// `features --single-pass` writes. Throws HttpError with 400 for a wrong shape,
/// 415 for what isn't a recording or has no features, 503 when the system can't hold it,
/// std::length_error for one that is too long, and std::bad_alloc.
NewReference readReference(const HttpRequest& request);

/// A name as it may be, of 1 to 1000 bytes of UTF-8 without control characters. Throws
/// HttpError with 400 for another.
std::string requireName(const std::string& name);

}  // namespace audiomatch
