#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tool/store/redis_reply.h"
#include "tool/store/redis_script.h"
#include "tool/store/redis_target.h"

struct redisContext;

namespace audiomatch {

/// A connection to a node that never blocks, but for looking up a host's name. What
/// goes wrong closes it and is said by problem(). One thread at a time.
class RedisConnection {
 public:
  explicit RedisConnection(RedisNode node);
  RedisConnection(const RedisConnection&) = delete;
  RedisConnection& operator=(const RedisConnection&) = delete;
  ~RedisConnection();

  const RedisNode& node() const noexcept { return node_; }
  /// True when it is open, nothing is under way, and the node hasn't hung up.
  bool isIdle() const noexcept;
  bool isOpen() const noexcept { return context_ != nullptr; }
  /// For poll(2), while it is open.
  int descriptor() const noexcept;
  /// Why it isn't open, in words; empty when nothing was wrong.
  const std::string& problem() const noexcept { return problem_; }

  /// Begins to connect, anew; done when the descriptor can be written to.
  void open();
  /// Then: whether it is connected.
  bool finishOpening();
  /// Closes it because of a problem.
  void fail(std::string problem);
  /// Closes it, and drops what was under way.
  void close() noexcept;

  /// Bytes to be sent next; filled again when all are gone.
  std::string& output() noexcept { return output_; }
  /// Sends what it can of the output, which is empty once all is gone. False if that is nothing.
  bool send();
  /// Takes what has come, as far as there is room. How much that is; 0 for nothing.
  std::size_t take(std::span<char> room);
  /// Hands over what was taken, in pieces of kPiece: the reader moves what is left of a
  /// piece after every second reply.
  void feed(std::span<const char> piece);
  /// Whether a reply is whole. It is in `reply` then, which has to be the same until that.
  bool next(RedisReply& reply);

  static constexpr std::size_t kPiece = 4096;
  /// A node that says more at once is no store.
  static constexpr std::size_t kLargestReply = std::size_t{64} << 20;

  /// Scripts that the node has seen by this connection.
  bool knows(const RedisScript& script) const noexcept;
  void learn(const RedisScript& script) { scripts_.push_back(script.checksum()); }
  /// After the node said that it doesn't know one: all will be sent anew.
  void forgetScripts() noexcept { scripts_.clear(); }

 private:
  struct Free {
    void operator()(redisContext* context) const noexcept;
  };

  RedisNode node_;
  std::unique_ptr<redisContext, Free> context_;
  std::string problem_;
  std::string output_;
  std::size_t sent_ = 0;    // of the output
  std::size_t unread_ = 0;  // of the reply that isn't whole yet
  std::vector<std::string> scripts_;
};

}  // namespace audiomatch
