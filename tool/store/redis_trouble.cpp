#include "tool/store/redis_trouble.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace audiomatch {
namespace {

using Kind = RedisTrouble::Kind;

struct Word {
  std::string_view text;
  Kind kind;
};
constexpr std::array kWords{
    Word{"MOVED", Kind::kMoved},       Word{"ASK", Kind::kAsk},
    Word{"NOSCRIPT", Kind::kScript},   Word{"TRYAGAIN", Kind::kLater},
    Word{"CLUSTERDOWN", Kind::kLater}, Word{"LOADING", Kind::kLater},
    Word{"MASTERDOWN", Kind::kLater},  Word{"BUSY", Kind::kLater},
    Word{"NOREPLICAS", Kind::kLater},  Word{"NOAUTH", Kind::kRefused},
    Word{"WRONGPASS", Kind::kRefused}, Word{"DENIED", Kind::kRefused},
};

/// Of "MOVED 3999 HOST:PORT": the host may be an IPv6 address, or none.
bool readNode(std::string_view text, RedisNode& node) {
  const std::size_t space = text.rfind(' ');
  const std::size_t colon = text.rfind(':');
  if (space == std::string_view::npos || colon == std::string_view::npos || colon < space) {
    return false;
  }
  if (colon > space + 1) node.host = text.substr(space + 1, colon - space - 1);
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data() + colon + 1, end, node.port);
  return error == std::errc() && last == end && node.port > 0;
}

}  // namespace

RedisTrouble redisTroubleOf(const RedisReply& reply, const RedisNode& sender) {
  RedisTrouble trouble;
  if (!reply.isError()) return trouble;
  const std::string_view text = reply.text;
  const auto* const word = std::ranges::find(kWords, text.substr(0, text.find(' ')), &Word::text);
  if (word == kWords.end()) return trouble;
  trouble.kind = word->kind;
  trouble.node = sender;
  const bool is_elsewhere = trouble.kind == Kind::kMoved || trouble.kind == Kind::kAsk;
  if (is_elsewhere && !readNode(text, trouble.node)) return {Kind::kLater, sender};
  return trouble;
}

}  // namespace audiomatch
