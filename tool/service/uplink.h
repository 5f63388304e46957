#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tool/recognition/channel_feed.h"
#include "tool/service/channel_message.h"

namespace audiomatch {

/// Where a listener's analyses go.
struct UplinkTarget {
  std::string url;    ///< of the server, such as http://127.0.0.1:8080
  std::string token;  ///< empty for none
  std::uint32_t id = 0;
  ChannelSession session;
};

/// What an uplink has done so far.
struct UplinkCounts {
  std::uint64_t sent = 0;        ///< analyses that the server has taken
  std::uint64_t attributes = 0;  ///< of these
  std::uint64_t failures = 0;    ///< attempts that failed
  std::size_t waiting = 0;       ///< analyses that wait to be sent
};

/// Sends a channel's analyses to a server, on a thread of its own: whoever takes the
/// sound never waits. While the server can't be reached they wait, as many as the
/// server would remember, and are sent in their order when it can.
class Uplink : public ChannelSink {
 public:
  explicit Uplink(UplinkTarget target);
  Uplink(const Uplink&) = delete;
  Uplink& operator=(const Uplink&) = delete;
  /// Gives up what waits.
  ~Uplink() override;

  /// Never waits for the server. True for the first analysis.
  bool take(std::uint32_t analysis, const std::vector<audio::AudioAttribute>& current) override;

  /// Waits until all is sent, at most some seconds, then takes the channel off air.
  /// False when the server can't be reached.
  bool finish();

  UplinkCounts counts() const;

  /// Why the server took the latest attempt for wrong, so that trying again is no
  /// use; empty when it didn't.
  std::string refusal() const;

 private:
  void run();
  void settle(const ChannelMessage& message);

  const UplinkTarget target_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<ChannelMessage::Analysis> waiting_;
  UplinkCounts counts_;
  std::string refusal_;
  bool is_failing_ = false;
  bool is_ending_ = false;
  std::jthread thread_;  // last: it uses the rest
};

}  // namespace audiomatch
