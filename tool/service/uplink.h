#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tool/recognition/channel_feed.h"
#include "tool/service/channel_message.h"
#include "tool/service/uplink_line.h"

namespace audiomatch {

/// What an uplink has done so far.
struct UplinkCounts {
  std::uint64_t sent = 0;        ///< analyses that the server has taken
  std::uint64_t attributes = 0;  ///< of these
  std::uint64_t failures = 0;    ///< attempts that failed
  std::uint64_t dropped = 0;     ///< analyses that waited until the server would forget them
  std::size_t waiting = 0;       ///< analyses that wait to be sent
};

/// Sends a channel's analyses to a server, on a thread of its own: whoever takes the
/// sound never waits. While the server can't be reached they wait, as many as the
/// server would remember, and are sent in their order when it can.
class Uplink : public ChannelSink {
 public:
  /// Throws FileError for a URL that is none.
  ///
  /// @param refused  is called on another thread, once, when `refusal` is set
  Uplink(UplinkTarget target, std::function<void()> refused);
  Uplink(const Uplink&) = delete;
  Uplink& operator=(const Uplink&) = delete;
  /// Gives up what waits.
  ~Uplink() override;

  /// Never waits for the server. False: the channel is on air when the server has
  /// taken something of it, which is said then.
  bool take(std::uint32_t analysis, const std::vector<audio::AudioAttribute>& current) override;

  /// Waits until all is sent, then takes the channel off air if anything was; ten
  /// seconds at most. False when something couldn't be sent. Called once.
  bool finish();

  UplinkCounts counts() const;

  /// The target as messages name it, without a password.
  const std::string& place() const noexcept { return place_; }

  /// Why nothing more is sent, so that trying again is no use: the server refuses it, or this
  /// process can't; empty when it goes on.
  std::string refusal() const;

 private:
  void run() noexcept;
  void sendAll();
  std::optional<ChannelMessage> next();
  void settle(const ChannelMessage& message);
  bool pauseAfter(const std::string& reason);
  void giveUp(std::string_view reason) noexcept;

  const UplinkTarget target_;
  const std::string place_;
  const std::function<void()> refused_;
  const std::unique_ptr<UplinkLine> line_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<ChannelMessage::Analysis> waiting_;
  UplinkCounts counts_;
  std::string refusal_;
  bool is_ending_ = false;
  // The sending thread's alone.
  bool is_failing_ = false;
  std::chrono::milliseconds pause_{};
  std::jthread thread_;  // last: it uses the rest
};

}  // namespace audiomatch
