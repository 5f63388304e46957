#include "tool/store/redis_connection.h"

#include <hiredis/hiredis.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "tool/store/redis_reply.h"

namespace audiomatch {
namespace {

bool wouldBlock() noexcept { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

/// At once what there is to send, and nothing to the children of this process.
void configure(int descriptor) noexcept {
  const int yes = 1;
  setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  ioctl(descriptor, FIOCLEX);
}

}  // namespace

void RedisConnection::Free::operator()(redisContext* context) const noexcept { redisFree(context); }

RedisConnection::RedisConnection(RedisNode node) : node_(std::move(node)) {}

RedisConnection::~RedisConnection() = default;

int RedisConnection::descriptor() const noexcept { return context_->fd; }

bool RedisConnection::isIdle() const noexcept {
  if (!context_ || !output_.empty() || context_->reader->pos != context_->reader->len) return false;
  char byte = 0;
  return recv(context_->fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && wouldBlock();
}

void RedisConnection::open() {
  close();
  problem_.clear();
  context_.reset(redisConnectNonBlock(node_.host.c_str(), node_.port));
  if (!context_ || context_->err == REDIS_ERR_OOM) throw std::bad_alloc();
  if (context_->err != 0) return fail(context_->errstr);
  readIntoRedisReplies(*context_->reader);
  configure(context_->fd);
}

bool RedisConnection::finishOpening() {
  int error = 0;
  socklen_t size = sizeof error;
  if (getsockopt(context_->fd, SOL_SOCKET, SO_ERROR, &error, &size) != 0) error = errno;
  if (error != 0) fail(std::strerror(error));
  return error == 0;
}

void RedisConnection::close() noexcept {
  context_.reset();
  output_.clear();
  scripts_.clear();
  sent_ = 0;
  unread_ = 0;
}

void RedisConnection::fail(std::string problem) {
  close();
  problem_ = std::move(problem);
}

// Not by hiredis, which would move all that waits each time, and let SIGPIPE end the process.
bool RedisConnection::send() {
  const ssize_t sent =
      ::send(context_->fd, output_.data() + sent_, output_.size() - sent_, MSG_NOSIGNAL);
  if (sent < 0) {
    if (!wouldBlock()) fail(std::strerror(errno));
    return false;
  }
  sent_ += static_cast<std::size_t>(sent);
  if (sent_ == output_.size()) {
    output_.clear();
    sent_ = 0;
  }
  return true;
}

std::size_t RedisConnection::take(std::span<char> room) {
  const ssize_t size = recv(context_->fd, room.data(), room.size(), 0);
  if (size > 0) return static_cast<std::size_t>(size);
  if (size == 0) {
    fail("it closed the connection");
  } else if (!wouldBlock()) {
    fail(std::strerror(errno));
  }
  return 0;
}

void RedisConnection::feed(std::span<const char> piece) {
  unread_ += piece.size();
  if (unread_ > kLargestReply) return fail("its reply is too large");
  if (redisReaderFeed(context_->reader, piece.data(), piece.size()) != REDIS_OK) {
    throw std::bad_alloc();
  }
}

bool RedisConnection::next(RedisReply& reply) {
  if (!context_) return false;
  redisReader& reader = *context_->reader;
  reader.privdata = &reply;
  void* whole = nullptr;
  if (redisReaderGetReply(&reader, &whole) == REDIS_OK) {
    if (whole) unread_ = 0;
    return whole != nullptr;
  }
  reply = {};
  if (reader.err == REDIS_ERR_OOM) throw std::bad_alloc();
  fail("it isn't a Redis");
  return false;
}

bool RedisConnection::knows(const RedisScript& script) const noexcept {
  return std::ranges::find(scripts_, script.checksum()) != scripts_.end();
}

}  // namespace audiomatch
