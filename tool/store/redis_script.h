#pragma once

#include <string>

namespace audiomatch {

/// A Lua script that nodes run; they know it by its checksum once they have seen it.
class RedisScript {
 public:
  explicit RedisScript(std::string source);

  const std::string& source() const noexcept { return source_; }
  /// SHA-1 of the source, in hexadecimal.
  const std::string& checksum() const noexcept { return checksum_; }

 private:
  std::string source_;
  std::string checksum_;
};

}  // namespace audiomatch
