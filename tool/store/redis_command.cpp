#include "tool/store/redis_command.h"

#include <charconv>
#include <iterator>

namespace audiomatch {
namespace {

void appendCount(std::string& bytes, char kind, std::size_t count) {
  char digits[20];
  const auto [end, error] = std::to_chars(std::begin(digits), std::end(digits), count);
  bytes += kind;
  bytes.append(std::begin(digits), end);
  bytes += "\r\n";
}

void appendWord(std::string& bytes, std::string_view word) {
  appendCount(bytes, '$', word.size());
  bytes += word;
  bytes += "\r\n";
}

}  // namespace

// Not by hiredis, which would allocate each command and then copy it.
void appendRedisCommand(std::string& bytes, const RedisCommand& command, bool by_source) {
  const RedisScript* const script = command.script;
  appendCount(bytes, '*', command.words.size() + (script ? 2 : 0));
  if (script) {
    appendWord(bytes, by_source ? "EVAL" : "EVALSHA");
    appendWord(bytes, by_source ? script->source() : script->checksum());
  }
  for (const std::string& word : command.words) appendWord(bytes, word);
}

}  // namespace audiomatch
