#include "tool/service/uplink_line.h"

#include <atomic>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <utility>

#include "tool/service/http_client.h"
#include "tool/store/open_store.h"
#include "tool/store/redis_channels.h"
#include "tool/store/store_error.h"

namespace audiomatch {
namespace {

using namespace std::chrono_literals;
using Outcome = UplinkLine::Reply::Outcome;

// For an answer, and for the channel to be taken off air.
constexpr std::chrono::milliseconds kPatience = 10s;
constexpr std::chrono::milliseconds kFarewellPatience = 2s;
constexpr RedisTimes kStoreTimes{.deadline = 2s};

/// What a server said was wrong.
std::string reasonOf(const HttpReply& reply) {
  const auto json = nlohmann::json::parse(reply.body, nullptr, false);
  if (json.is_object() && json.contains("error") && json["error"].is_string()) {
    return json["error"].get<std::string>();
  }
  return "HTTP status " + std::to_string(reply.status);
}

/// Whether the same request would be refused for ever. What a proxy says while the
/// server is away, 404 among it, passes.
bool isFinal(unsigned status) noexcept {
  return status >= 200 && status < 500 && status != 404 && status != 408 && status != 429;
}

class ServerLine : public UplinkLine {
 public:
  explicit ServerLine(const UplinkTarget& target)
      : token_(target.token), session_(target.session.key), url_(target.url), client_(token_) {
    while (url_.ends_with('/')) url_.pop_back();
    url_ += "/v1/channels/" + std::to_string(target.id);
  }

  Reply send(const ChannelMessage& message) override {
    const HttpReply reply = client_.send("POST", url_, encodeMessage(message), kPatience);
    if (reply.status == 200) return {};
    if (reply.status == 0) return {Outcome::kAway, "can't be reached: " + reply.problem};
    return {isFinal(reply.status) ? Outcome::kRefused : Outcome::kAway, reasonOf(reply)};
  }

  bool end() override {
    HttpClient client(token_);
    return client.send("DELETE", url_ + "?session=" + session_, "", kFarewellPatience).status ==
           200;
  }

  void cancel() noexcept override { client_.cancel(); }

 private:
  std::string token_;
  std::string session_;
  std::string url_;
  HttpClient client_;
};

/// Straight to the store that servers look into. It is reached at the first message, so that
/// a listener may begin before it. A signal ends the listener, who still sends what waits.
class StoreLine : public UplinkLine {
 public:
  explicit StoreLine(const UplinkTarget& target)
      : target_(parseRedisTarget(target.url)), id_(target.id), session_(target.session.key) {}

  Reply send(const ChannelMessage& message) override try {
    for (const ChannelMessage::Analysis& analysis : message.analyses) {
      if (is_cancelled_) return {Outcome::kAway, "the listener is ending"};
      const Taken taken =
          channels().apply(id_, message.session, analysis.number, analysis.attributes);
      if (taken == Taken::kReplaced) {
        return {Outcome::kRefused, "another listener has taken the channel over"};
      }
    }
    return {};
  } catch (const StoreRefusal& refusal) {
    return {Outcome::kRefused, std::string(refusal.problem())};
  } catch (const StoreError& error) {
    return {Outcome::kAway, std::string(error.problem())};
  } catch (const std::length_error& error) {
    return {Outcome::kAway, error.what()};
  }

  bool end() override try { return channels().end(id_, session_); } catch (const StoreError&) {
    return false;
  }

  void cancel() noexcept override {
    const std::lock_guard lock(reaching_);
    is_cancelled_ = true;
    if (cluster_) cluster_->cancel();
  }

 private:
  RedisChannels& channels() {
    if (channels_) return *channels_;
    auto cluster = std::make_unique<RedisCluster>(target_, kStoreTimes, OnSignal::kGoOn);
    const std::lock_guard lock(reaching_);
    cluster_ = std::move(cluster);
    if (is_cancelled_) cluster_->cancel();
    return channels_.emplace(*cluster_);
  }

  RedisTarget target_;
  std::uint32_t id_;
  std::string session_;
  std::mutex reaching_;  // held while the cluster is put in place, for cancel
  std::unique_ptr<RedisCluster> cluster_;
  std::optional<RedisChannels> channels_;
  std::atomic<bool> is_cancelled_ = false;
};

}  // namespace

std::unique_ptr<UplinkLine> makeLine(const UplinkTarget& target) {
  if (isRedis(target.url)) return std::make_unique<StoreLine>(target);
  return std::make_unique<ServerLine>(target);
}

}  // namespace audiomatch
