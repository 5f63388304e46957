#pragma once

#include <string>

#include "tool/store/redis_reply.h"

namespace audiomatch {

/// Throws the StoreError of nodes that don't answer, or not as they have to.
[[noreturn]] void throwRedisAway(const std::string& url, const std::string& problem);

/// Throws the StoreRefusal of nodes that answer, but not to this user.
[[noreturn]] void throwRedisRefused(const std::string& url, const std::string& problem);

/// A reply that isn't an error. Throws the StoreError of one that is, which says what to do.
const RedisReply& requireRedisReply(const RedisReply& reply, const std::string& url);

}  // namespace audiomatch
