#pragma once

#include <string>
#include <vector>

#include "tool/store/redis_script.h"

namespace audiomatch {

/// What a node is told. It may be told so twice, when it isn't known whether it heard
/// it: twice has to come to the same as once.
struct RedisCommand {
  /// The key that it is about, for the node that holds it; empty for any node, or `node`.
  std::string key = {};
  /// GET and the key, say; of a script only the number of keys, the keys and the arguments.
  std::vector<std::string> words = {};
  /// To be run with `words`; lives as long as the command. Null for none.
  const RedisScript* script = nullptr;
  /// One of RedisCluster::masters(), instead of a key.
  std::string node = {};
};

/// Appends a command as it is sent.
/// @param by_source  sends a script itself, which the node then knows, not its checksum
void appendRedisCommand(std::string& bytes, const RedisCommand& command, bool by_source);

}  // namespace audiomatch
