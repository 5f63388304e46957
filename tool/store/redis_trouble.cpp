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
    Word{"NOPERM", Kind::kRefused},
};
// Errors that have no word of their own.
constexpr std::array kPhrases{
    Word{"ERR max number of clients", Kind::kLater},
    Word{"ERR The user executing the script can't", Kind::kRefused},
};

/// What an error is about; kNone for the command itself.
Kind kindOf(std::string_view error) {
  const auto* const word = std::ranges::find(kWords, error.substr(0, error.find(' ')), &Word::text);
  if (word != kWords.end()) return word->kind;
  const auto* const phrase = std::ranges::find_if(
      kPhrases, [error](const Word& known) { return error.starts_with(known.text); });
  return phrase == kPhrases.end() ? Kind::kNone : phrase->kind;
}

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
  trouble.kind = kindOf(reply.text);
  if (trouble.kind == Kind::kNone) return trouble;
  trouble.node = sender;
  const bool is_elsewhere = trouble.kind == Kind::kMoved || trouble.kind == Kind::kAsk;
  if (is_elsewhere && !readNode(reply.text, trouble.node)) return {Kind::kLater, sender};
  return trouble;
}

}  // namespace audiomatch
