#include "tool/service/uplink.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <iterator>
#include <nlohmann/json.hpp>
#include <utility>

#include "tool/output/messages.h"
#include "tool/service/http_client.h"

namespace audiomatch {
namespace {

using namespace std::chrono_literals;

// Analyses of a message: many after an absence, without a message beyond a server's bounds.
constexpr std::size_t kMostAtOnce = 20;
// After a failure, doubled up to the longest.
constexpr std::chrono::milliseconds kFirstPause = 250ms;
constexpr std::chrono::milliseconds kLongestPause = 5s;
constexpr std::chrono::seconds kPatience = 10s;

std::string urlOf(const UplinkTarget& target) {
  std::string url = target.url;
  while (url.ends_with('/')) url.pop_back();
  return url + "/v1/channels/" + std::to_string(target.id);
}

/// What a server said was wrong.
std::string reasonOf(const HttpReply& reply) {
  const auto json = nlohmann::json::parse(reply.body, nullptr, false);
  if (json.is_object() && json.contains("error") && json["error"].is_string()) {
    return json["error"].get<std::string>();
  }
  return "HTTP status " + std::to_string(reply.status);
}

/// Whether the same request would be refused for ever.
bool isFinal(unsigned status) noexcept {
  return status >= 400 && status < 500 && status != 408 && status != 429;
}

}  // namespace

Uplink::Uplink(UplinkTarget target) : target_(std::move(target)), thread_([this] { run(); }) {}

Uplink::~Uplink() {
  {
    const std::lock_guard lock(mutex_);
    is_ending_ = true;
    waiting_.clear();
  }
  changed_.notify_all();
}

bool Uplink::take(std::uint32_t analysis, const std::vector<audio::AudioAttribute>& current) {
  const ChannelPeriods& periods = target_.session.periods;
  {
    const std::lock_guard lock(mutex_);
    waiting_.push_back({analysis, current});
    // The server would forget it at once.
    if (waiting_.size() > periods.monitor / periods.update) waiting_.pop_front();
  }
  changed_.notify_all();
  return analysis == 0;
}

bool Uplink::finish() {
  bool all_sent = false;
  {
    std::unique_lock lock(mutex_);
    all_sent = changed_.wait_for(lock, kPatience,
                                 [this] { return waiting_.empty() || !refusal_.empty(); });
    is_ending_ = true;
    waiting_.clear();
  }
  changed_.notify_all();
  thread_.join();
  HttpClient client(target_.token);
  return client.send("DELETE", urlOf(target_), "").status == 200 && all_sent;
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

void Uplink::run() try {
  HttpClient client(target_.token);
  std::chrono::milliseconds pause = kFirstPause;
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [this] { return is_ending_ || !waiting_.empty(); });
    if (is_ending_) return;
    ChannelMessage message{target_.session, {}};
    const std::size_t some = std::min(waiting_.size(), kMostAtOnce);
    message.analyses.assign(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(some));
    lock.unlock();
    const HttpReply reply = client.send("POST", urlOf(target_), encodeMessage(message));
    lock.lock();
    if (reply.status == 200) {
      settle(message);
      pause = kFirstPause;
      continue;
    }
    ++counts_.failures;
    if (isFinal(reply.status)) {
      refusal_ = reasonOf(reply);
      changed_.notify_all();
      return;
    }
    if (!is_failing_) {
      note("the server can't be reached: " + (reply.status == 0 ? reply.problem : reasonOf(reply)) +
           "; trying again");
    }
    is_failing_ = true;
    changed_.wait_for(lock, pause, [this] { return is_ending_; });
    pause = std::min(2 * pause, kLongestPause);
  }
} catch (const std::exception& error) {
  const std::lock_guard lock(mutex_);
  refusal_ = error.what();
  changed_.notify_all();
}

/// Drops what the server has taken. Some of it may have been dropped for its age meanwhile.
void Uplink::settle(const ChannelMessage& message) {
  const std::uint32_t last = message.analyses.back().number;
  while (!waiting_.empty() && waiting_.front().number <= last) waiting_.pop_front();
  counts_.sent += message.analyses.size();
  for (const auto& analysis : message.analyses) counts_.attributes += analysis.attributes.size();
  if (std::exchange(is_failing_, false)) note("the server is back");
  changed_.notify_all();
}

}  // namespace audiomatch
