#pragma once

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "tool/store/redis_command.h"

namespace audiomatch {

/// A command about its second word, or about `key`.
inline RedisCommand redisCommand(std::initializer_list<std::string> words, std::string key = {}) {
  RedisCommand command;
  command.words = words;
  command.key = key.empty() ? command.words[1] : std::move(key);
  return command;
}

/// A script that is run on some keys, which are of one slot.
inline RedisCommand redisScriptCommand(const RedisScript& script, std::vector<std::string> keys,
                                       std::initializer_list<std::string> arguments) {
  RedisCommand command;
  command.key = keys[0];
  command.words = {std::to_string(keys.size())};
  command.words.insert(command.words.end(), keys.begin(), keys.end());
  command.words.insert(command.words.end(), arguments);
  command.script = &script;
  return command;
}

}  // namespace audiomatch
