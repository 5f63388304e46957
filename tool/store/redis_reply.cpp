#include "tool/store/redis_reply.h"

#include <hiredis/hiredis.h>

#include <new>

namespace audiomatch {
namespace {

/// Where what is read next belongs: into the list that it is a part of, or the reply itself.
RedisReply& place(const redisReadTask& task) {
  // A list grows with what comes, not by the length that it claims. Nobody holds on to
  // parts that are complete, so they may move.
  if (task.parent) return static_cast<RedisReply*>(task.parent->obj)->list.emplace_back();
  return *static_cast<RedisReply*>(task.privdata);
}

/// Fills the place. Null, which hiredis takes for a lack of memory, when there is none.
template <typename Fill>
void* make(const redisReadTask* task, Fill fill) noexcept {
  try {
    RedisReply& reply = place(*task);
    fill(reply);
    return &reply;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void* makeString(const redisReadTask* task, char* bytes, std::size_t size) noexcept {
  return make(task, [&](RedisReply& reply) {
    const bool is_error = task->type == REDIS_REPLY_ERROR;
    reply.text.assign(bytes, size);
    reply.kind = is_error ? RedisReply::Kind::kError : RedisReply::Kind::kString;
  });
}

void* makeArray(const redisReadTask* task, int) noexcept {
  return make(task, [](RedisReply& reply) { reply.kind = RedisReply::Kind::kArray; });
}

void* makeInteger(const redisReadTask* task, long long number) noexcept {
  return make(task, [&](RedisReply& reply) {
    reply.kind = RedisReply::Kind::kInteger;
    reply.number = number;
  });
}

void* makeNil(const redisReadTask* task) noexcept {
  return make(task, [](RedisReply& reply) { reply.kind = RedisReply::Kind::kNil; });
}

/// Replies have owners of their own.
void release(void*) noexcept {}

redisReplyObjectFunctions functions{makeString, makeArray, makeInteger, makeNil, release};

}  // namespace

void readIntoRedisReplies(redisReader& reader) noexcept { reader.fn = &functions; }

}  // namespace audiomatch
