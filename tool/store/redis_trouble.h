#pragma once

#include <cstdint>

#include "tool/store/redis_reply.h"
#include "tool/store/redis_target.h"

namespace audiomatch {

/// What an error in place of a reply asks for.
struct RedisTrouble {
  enum class Kind : std::uint8_t {
    kNone,     ///< nothing: it is the reply
    kMoved,    ///< to be sent to `node`, which has the slot now
    kAsk,      ///< to be sent to `node` once, after ASKING, as the slot is moving there
    kScript,   ///< to be sent with its script, which the node doesn't know
    kLater,    ///< to be sent again later
    kRefused,  ///< nothing helps: it isn't the right user, or one without the rights
  };

  Kind kind = Kind::kNone;
  RedisNode node;
};

/// @param sender  who replied; a redirection without a host means another port of its
RedisTrouble redisTroubleOf(const RedisReply& reply, const RedisNode& sender);

}  // namespace audiomatch
