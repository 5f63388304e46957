#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace audiomatch {

/// One object as one line of JSON, line end included. Text that isn't UTF-8,
/// as a file's name may be, has its wrong bytes replaced.
std::string jsonLine(const nlohmann::ordered_json& object);

/// A float as the shortest number that reads back as the same float.
double shortest(float number);

/// The text with bytes that aren't UTF-8 replaced.
std::string validUtf8(const std::string& text);

/// Characters of a UTF-8 text.
std::size_t characterCount(std::string_view text) noexcept;

}  // namespace audiomatch
