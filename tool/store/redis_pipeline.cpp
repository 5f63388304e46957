#include "tool/store/redis_pipeline.h"

#include <poll.h>

#include <algorithm>
#include <array>

#include "tool/store/redis_trouble.h"

namespace audiomatch {
namespace {

/// What is handed to the system at once, in either direction.
constexpr std::size_t kChunk = std::size_t{64} << 10;

const RedisCommand& asking() {
  static const RedisCommand command{{}, {"ASKING"}};
  return command;
}

}  // namespace

RedisPipeline::RedisPipeline(RedisConnection& connection, const RedisTarget& target,
                             const RedisTimes& times)
    : connection_(connection), times_(times), moved_(RedisClock::now()) {
  if (connection_.isIdle()) return;
  connection_.open();
  is_opening_ = true;
  if (target.password.empty()) return;
  login_.words = {"AUTH"};
  if (!target.user.empty()) login_.words.push_back(target.user);
  login_.words.push_back(target.password);
  add(login_, login_reply_);
}

RedisPipeline::~RedisPipeline() {
  if (!isOver()) connection_.close();
}

void RedisPipeline::add(const RedisCommand& command, RedisReply& reply) {
  steps_.push_back({&command, &reply});
}

void RedisPipeline::addAsking(const RedisCommand& command, RedisReply& reply) {
  add(asking(), asking_reply_);
  add(command, reply);
}

short RedisPipeline::events() const noexcept {
  if (is_opening_) return POLLOUT;
  const bool is_written = written_ == steps_.size() && connection_.output().empty();
  return static_cast<short>(is_written ? POLLIN : POLLIN | POLLOUT);
}

void RedisPipeline::advance(short events, RedisTime now) {
  if (is_opening_ && events != 0) {
    if (!connection_.finishOpening()) return;
    is_opening_ = false;
    moved_ = now;
    events = POLLOUT;
  }
  if (is_opening_) return;
  // What has come is taken first: a node that waits for room reads nothing.
  if ((events & ~POLLOUT) != 0) read(now);
  if ((events & POLLOUT) != 0 && !isOver()) write(now);
}

RedisTime RedisPipeline::patience() const noexcept {
  return moved_ + (is_opening_ ? times_.connect : times_.command);
}

bool RedisPipeline::isRefused() const {
  return login_reply_.isError() &&
         redisTroubleOf(login_reply_, node()).kind != RedisTrouble::Kind::kLater;
}

void RedisPipeline::giveUp() {
  connection_.fail(is_opening_ ? "it doesn't accept a connection" : "it doesn't answer");
}

void RedisPipeline::dropPart() {
  if (received_ < steps_.size()) *steps_[received_].reply = {};
}

void RedisPipeline::begin() {
  if (!is_opening_ && !isOver()) write(moved_);
}

void RedisPipeline::fill() {
  std::string& output = connection_.output();
  if (!output.empty()) return;
  for (; output.size() < kChunk && written_ < steps_.size(); ++written_) {
    const RedisCommand& command = *steps_[written_].command;
    const bool by_source = command.script && !connection_.knows(*command.script);
    appendRedisCommand(output, command, by_source);
    if (by_source) connection_.learn(*command.script);
  }
}

void RedisPipeline::write(RedisTime now) {
  fill();
  if (!connection_.output().empty() && connection_.send()) moved_ = now;
}

void RedisPipeline::read(RedisTime now) {
  std::array<char, kChunk> room;
  const std::size_t size = connection_.take(room);
  if (size > 0) moved_ = now;
  for (std::size_t done = 0; done < size && connection_.isOpen();) {
    const std::size_t piece = std::min(size - done, RedisConnection::kPiece);
    connection_.feed({room.data() + done, piece});
    done += piece;
    while (received_ < steps_.size() && connection_.next(*steps_[received_].reply)) {
      if (!isAccepted(*steps_[received_++].reply)) return;
    }
  }
}

/// Without a login nothing else needs an answer.
bool RedisPipeline::isAccepted(const RedisReply& reply) {
  if (&reply != &login_reply_ || !reply.isError()) return true;
  connection_.fail(reply.text);
  return false;
}

void talk(std::span<RedisPipeline* const> pipelines, RedisTime deadline, const RedisHaste& haste) {
  std::vector<RedisPipeline*> active(pipelines.begin(), pipelines.end());
  std::vector<pollfd> waiting;
  for (RedisPipeline* pipeline : active) pipeline->begin();
  for (;;) {
    haste.heedSignal();
    const RedisTime now = RedisClock::now();
    deadline = haste.bound(deadline);
    RedisTime until = std::min(deadline, now + RedisHaste::kBetweenLooks);
    for (RedisPipeline* pipeline : active) {
      if (!pipeline->isOver() && std::min(pipeline->patience(), deadline) <= now)
        pipeline->giveUp();
    }
    std::erase_if(active, [](const RedisPipeline* pipeline) { return pipeline->isOver(); });
    if (active.empty()) break;
    waiting.clear();
    for (const RedisPipeline* pipeline : active) {
      waiting.push_back({pipeline->descriptor(), pipeline->events(), 0});
      until = std::min(until, pipeline->patience());
    }
    const auto pause = std::chrono::ceil<std::chrono::milliseconds>(until - now).count();
    poll(waiting.data(), waiting.size(), static_cast<int>(pause));
    const RedisTime then = RedisClock::now();
    for (std::size_t i = 0; i < active.size(); ++i) active[i]->advance(waiting[i].revents, then);
  }
  for (RedisPipeline* pipeline : pipelines) pipeline->dropPart();
}

}  // namespace audiomatch
