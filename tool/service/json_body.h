#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>

namespace audiomatch {

/// Most bytes of a body of JSON, which takes many times its size in memory.
inline constexpr std::size_t kLargestJson = std::size_t{4} << 20;

/// The object that a body holds. Throws HttpError: 400 for anything else, 413 for one
/// of more bytes than `kLargestJson`, or that is nested deeper or has more values in
/// it than given, of which none are kept.
nlohmann::json parseJsonBody(const std::string& body, int depth, std::size_t values);

}  // namespace audiomatch
