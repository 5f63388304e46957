#include "tool/service/http_message.h"

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <cstdint>
#include <string_view>

namespace audiomatch {
namespace {

int hexDigit(char character) noexcept {
  if (character >= '0' && character <= '9') return character - '0';
  if (character >= 'a' && character <= 'f') return character - 'a' + 10;
  if (character >= 'A' && character <= 'F') return character - 'A' + 10;
  return -1;
}

/// Resolves %XX, and + where it stands for a space. Nothing for a broken one.
std::optional<std::string> decoded(std::string_view text, bool plus_is_space) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '+' && plus_is_space) {
      result += ' ';
    } else if (text[i] == '%') {
      if (i + 2 >= text.size()) return {};
      const int high = hexDigit(text[i + 1]);
      const int low = hexDigit(text[i + 2]);
      if (high < 0 || low < 0) return {};
      result += static_cast<char>(high << 4 | low);
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

}  // namespace

bool parseTarget(const std::string& target, HttpRequest& request) {
  constexpr std::string_view kScheme = "http://";
  std::string_view rest = target;
  if (boost::algorithm::istarts_with(rest, kScheme)) {
    rest.remove_prefix(std::min(rest.find('/', kScheme.size()), rest.size()));
  }
  if (!rest.starts_with('/')) return false;
  const auto path = decoded(rest.substr(0, rest.find('?')), false);
  if (!path || path->find('\0') != std::string::npos) return false;
  request.path = *path;
  const std::size_t question = rest.find('?');
  rest = question == std::string_view::npos ? std::string_view() : rest.substr(question + 1);
  while (!rest.empty()) {
    const std::string_view pair = rest.substr(0, rest.find('&'));
    const std::size_t equals = pair.find('=');
    const auto name = decoded(pair.substr(0, equals), true);
    const auto value =
        decoded(equals == std::string_view::npos ? "" : pair.substr(equals + 1), true);
    if (!name || !value) return false;
    request.query[*name] = *value;
    rest.remove_prefix(std::min(rest.size(), pair.size() + 1));
  }
  return true;
}

}  // namespace audiomatch
