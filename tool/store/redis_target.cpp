#include "tool/store/redis_target.h"

#include <fmt/core.h>

#include <charconv>
#include <utility>

#include "tool/store/store_error.h"

namespace audiomatch {
namespace {

constexpr std::string_view kScheme = "redis://";
constexpr int kUsualPort = 6379;
constexpr int kLastPort = 65535;

/// Whatever the text is, without what may be a password.
std::string withoutPassword(std::string_view url) {
  const std::size_t at = url.rfind('@');
  if (at == std::string_view::npos) return std::string(url);
  const std::size_t scheme = url.find("://");
  const std::size_t begin = scheme < at ? scheme + 3 : 0;
  const std::string_view user = url.substr(begin, url.find(':', begin) - begin);
  const bool has_user = user.size() < at - begin && !user.empty();
  return std::string(url.substr(0, begin))
      .append(has_user ? user : "")
      .append(url.substr(has_user ? at : at + 1));
}

template <typename Number>
bool parseWhole(std::string_view text, Number& number, int base) {
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, number, base);
  return error == std::errc() && last == end;
}

std::optional<std::string> decoded(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned char byte = 0;
    if (text[i] != '%') {
      plain += text[i];
    } else if (i + 2 < text.size() && parseWhole(text.substr(i + 1, 2), byte, 16)) {
      plain += static_cast<char>(byte);
      i += 2;
    } else {
      return {};
    }
  }
  return plain;
}

std::optional<RedisNode> parseNode(std::string_view text) {
  RedisNode node;
  node.port = kUsualPort;
  std::size_t end = text.find(':');
  if (text.starts_with('[')) {
    const std::size_t bracket = text.find(']');
    if (bracket == std::string_view::npos) return {};
    node.host = text.substr(1, bracket - 1);
    end = bracket + 1 < text.size() ? bracket + 1 : std::string_view::npos;
  } else {
    node.host = text.substr(0, end);
  }
  if (node.host.empty() || node.host.find_first_of(" /@?#") != std::string::npos) return {};
  if (end == std::string_view::npos) return node;
  if (text[end] != ':' || !parseWhole(text.substr(end + 1), node.port, 10)) return {};
  if (node.port < 1 || node.port > kLastPort) return {};
  return node;
}

}  // namespace

std::string RedisNode::name() const {
  return (host.find(':') == std::string::npos ? host : "[" + host + "]") + ":" +
         std::to_string(port);
}

RedisTarget parseRedisTarget(std::string_view url) {
  RedisTarget target;
  target.url = withoutPassword(url);
  const auto refuse = [&](const std::string& what) {
    return StoreError(target.url,
                      what + "; a store is named redis://[USER:PASSWORD@]HOST:PORT[,HOST:PORT...]");
  };
  if (!url.starts_with(kScheme)) throw refuse("doesn't begin with redis://");
  std::string_view rest = url.substr(kScheme.size());
  if (const std::size_t at = rest.rfind('@'); at != std::string_view::npos) {
    const std::size_t colon = rest.substr(0, at).find(':');
    if (colon == std::string_view::npos) throw refuse("has no password between ':' and '@'");
    const auto user = decoded(rest.substr(0, colon));
    const auto password = decoded(rest.substr(colon + 1, at - colon - 1));
    if (!user || !password) throw refuse("has a '%' in user or password that begins no %XX");
    target.user = *user;
    target.password = *password;
    rest.remove_prefix(at + 1);
  }
  // A cluster has the database 0 only.
  for (const std::string_view ending : {"/0", "/"}) {
    if (rest.ends_with(ending)) rest.remove_suffix(ending.size());
  }
  for (bool is_last = false; !is_last;) {
    const std::size_t comma = rest.find(',');
    is_last = comma == std::string_view::npos;
    auto node = parseNode(rest.substr(0, comma));
    if (!node) throw refuse(fmt::format("'{}' is no HOST:PORT", rest.substr(0, comma)));
    target.nodes.push_back(std::move(*node));
    if (!is_last) rest.remove_prefix(comma + 1);
  }
  return target;
}

}  // namespace audiomatch
