#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace audiomatch {

/// Where a Redis server listens.
struct RedisNode {
  std::string host;  ///< a name or an address; IPv6 without brackets
  int port = 0;

  /// HOST:PORT, an IPv6 address in brackets.
  std::string name() const;
  bool operator==(const RedisNode&) const = default;
  bool operator<(const RedisNode& other) const {
    return std::tie(host, port) < std::tie(other.host, other.port);
  }
};

/// A Redis Cluster, or a single Redis, as its user names it.
struct RedisTarget {
  std::string url;  ///< for messages: without the password
  std::string user;
  std::string password;  ///< empty for none
  std::vector<RedisNode> nodes;
};

/// Reads redis://[[USER]:PASSWORD@]HOST[:PORT][,HOST[:PORT]...][/[0]]. A port left out
/// is 6379, an IPv6 address stands in brackets, and user and password may have
/// characters as %XX. There is no TLS. Throws StoreError for anything else.
RedisTarget parseRedisTarget(std::string_view url);

}  // namespace audiomatch
