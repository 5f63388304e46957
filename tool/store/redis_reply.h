#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct redisReader;

namespace audiomatch {

/// What a node answered.
struct RedisReply {
  enum class Kind : std::uint8_t {
    kUnavailable,  ///< it didn't, or says that it can't now
    kNil,
    kInteger,  ///< in `number`
    kString,   ///< in `text`; a status too
    kArray,    ///< in `list`
    kError,    ///< in `text`
  };

  bool isString() const noexcept { return kind == Kind::kString; }
  bool isError() const noexcept { return kind == Kind::kError; }
  bool isUnavailable() const noexcept { return kind == Kind::kUnavailable; }

  Kind kind = Kind::kUnavailable;
  std::int64_t number = 0;
  std::string text = {};
  std::vector<RedisReply> list = {};
};

/// Makes a reader put replies straight into the RedisReply that its `privdata` names.
void readIntoRedisReplies(redisReader& reader) noexcept;

}  // namespace audiomatch
