#include "tool/text.h"

#include <fmt/core.h>

#include <algorithm>

namespace audiomatch {
namespace {

constexpr auto kReplace = nlohmann::ordered_json::error_handler_t::replace;

}  // namespace

std::string jsonLine(const nlohmann::ordered_json& object) {
  return object.dump(-1, ' ', false, kReplace) + '\n';
}

double shortest(float number) { return std::stod(fmt::format("{}", number)); }

std::string validUtf8(const std::string& text) {
  const std::string quoted = nlohmann::ordered_json(text).dump(-1, ' ', false, kReplace);
  return nlohmann::ordered_json::parse(quoted).get<std::string>();
}

std::size_t characterCount(std::string_view text) noexcept {
  // Every byte but those that continue a character.
  return static_cast<std::size_t>(std::ranges::count_if(
      text, [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

}  // namespace audiomatch
