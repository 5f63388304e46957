#include "tool/service/uplink.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <new>
#include <utility>

#include "tool/output/messages.h"
#include "tool/store/open_store.h"

namespace audiomatch {
namespace {

using namespace std::chrono_literals;

// Analyses of a message: many after an absence, without a message beyond a server's bounds.
constexpr std::size_t kMostAtOnce = 20;
// After a failure, doubled up to the longest.
constexpr std::chrono::milliseconds kFirstPause = 250ms;
constexpr std::chrono::milliseconds kLongestPause = 5s;
// At the end for all that waits; the line takes its time to take the channel off air.
constexpr std::chrono::milliseconds kLastPatience = 7s;

}  // namespace

Uplink::Uplink(UplinkTarget target, std::function<void()> refused)
    : target_(std::move(target)),
      place_(shownPlace(target_.url)),
      refused_(std::move(refused)),
      line_(makeLine(target_)),
      pause_(kFirstPause),
      thread_([this] { run(); }) {}

Uplink::~Uplink() {
  {
    const std::lock_guard lock(mutex_);
    is_ending_ = true;
  }
  line_->cancel();
  changed_.notify_all();
}

bool Uplink::take(std::uint32_t analysis, const std::vector<audio::AudioAttribute>& current) {
  const ChannelPeriods& periods = target_.session.periods;
  {
    const std::lock_guard lock(mutex_);
    waiting_.push_back({analysis, current});
    // The server would forget it at once.
    if (waiting_.size() > periods.monitor / periods.update) {
      waiting_.pop_front();
      ++counts_.dropped;
    }
  }
  changed_.notify_all();
  return false;
}

bool Uplink::finish() {
  bool all_sent = false;
  {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, kLastPatience,
                      [this] { return waiting_.empty() || !refusal_.empty(); });
    all_sent = waiting_.empty();
    is_ending_ = true;
  }
  line_->cancel();
  changed_.notify_all();
  thread_.join();
  if (counts_.sent == 0 || !refusal_.empty()) return all_sent;
  return line_->end() && all_sent;
}

UplinkCounts Uplink::counts() const {
  const std::lock_guard lock(mutex_);
  UplinkCounts counts = counts_;
  counts.waiting = waiting_.size();
  return counts;
}

std::string Uplink::refusal() const {
  const std::lock_guard lock(mutex_);
  return refusal_;
}

void Uplink::run() noexcept try { sendAll(); } catch (const std::exception& error) {
  giveUp(error.what());
}

void Uplink::sendAll() {
  while (const std::optional<ChannelMessage> message = next()) {
    const UplinkLine::Reply reply = line_->send(*message);
    if (reply.outcome == UplinkLine::Reply::Outcome::kTaken) {
      settle(*message);
    } else if (reply.outcome == UplinkLine::Reply::Outcome::kRefused) {
      return giveUp("the server refuses: " + reply.reason);
    } else if (!pauseAfter(reply.reason)) {
      return;
    }
  }
}

/// What waits, as much as a message may hold, when something does; nothing at the end.
std::optional<ChannelMessage> Uplink::next() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return is_ending_ || !waiting_.empty(); });
  if (is_ending_) return {};
  const std::size_t some = std::min(waiting_.size(), kMostAtOnce);
  return ChannelMessage{target_.session,
                        {waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(some)}};
}

/// Drops what the server has taken. Some of it may have been dropped for its age meanwhile.
void Uplink::settle(const ChannelMessage& message) {
  const std::uint32_t last = message.analyses.back().number;
  bool is_first = false;
  {
    const std::lock_guard lock(mutex_);
    while (!waiting_.empty() && waiting_.front().number <= last) waiting_.pop_front();
    is_first = counts_.sent == 0;
    counts_.sent += message.analyses.size();
    for (const auto& analysis : message.analyses) counts_.attributes += analysis.attributes.size();
  }
  changed_.notify_all();
  pause_ = kFirstPause;
  if (std::exchange(is_failing_, false)) note("is back", place_);
  if (is_first) note(target_.session.name + ": on air");
}

/// Waits before the next attempt, the longer the more have failed. False at the end.
bool Uplink::pauseAfter(const std::string& reason) {
  {
    const std::lock_guard lock(mutex_);
    if (is_ending_) return false;
    ++counts_.failures;
  }
  if (!std::exchange(is_failing_, true)) note(reason + "; trying again", place_);
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, pause_, [this] { return is_ending_; });
  pause_ = std::min(2 * pause_, kLongestPause);
  return !is_ending_;
}

void Uplink::giveUp(std::string_view reason) noexcept {
  {
    const std::lock_guard lock(mutex_);
    try {
      refusal_ = reason;
    } catch (const std::bad_alloc&) {
      refusal_ = "no memory";  // which fits into any string
    }
  }
  changed_.notify_all();
  refused_();
}

}  // namespace audiomatch
