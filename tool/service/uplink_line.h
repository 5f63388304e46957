#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "tool/service/channel_message.h"

namespace audiomatch {

/// Where a listener's analyses go.
struct UplinkTarget {
  std::string url;    ///< of a server, http://HOST:PORT, or of its store, redis://HOST:PORT
  std::string token;  ///< for the server; empty for none
  std::uint32_t id = 0;
  ChannelSession session;
};

/// Brings messages of one channel to their target. One thread at a time, but for
/// `cancel`.
class UplinkLine {
 public:
  virtual ~UplinkLine() = default;

  /// What became of a message.
  struct Reply {
    enum class Outcome {
      kTaken,
      kAway,     ///< it may be sent again
      kRefused,  ///< it would be refused again
    };
    Outcome outcome = Outcome::kTaken;
    std::string reason;  ///< why it wasn't taken
  };
  /// Sends a message, and waits for what becomes of it, some seconds at most for each of its
  /// analyses. Failures are in the reply.
  virtual Reply send(const ChannelMessage& message) = 0;

  /// Takes the channel's session off air, in a few seconds. False when that failed.
  virtual bool end() = 0;

  /// Ends a `send` that is under way, soon; any thread.
  virtual void cancel() noexcept {}
};

/// The line that a target's URL asks for. Throws FileError for one that is none.
std::unique_ptr<UplinkLine> makeLine(const UplinkTarget& target);

}  // namespace audiomatch
