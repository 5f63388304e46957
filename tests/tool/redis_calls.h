#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tool/store/redis_cluster.h"
#include "tool/store/store_error.h"

namespace testing_support {

using Commands = std::vector<audiomatch::RedisCommand>;

inline audiomatch::RedisCommand get(const std::string& key) { return {key, {"GET", key}}; }
inline audiomatch::RedisCommand set(const std::string& key, const std::string& value) {
  return {key, {"SET", key, value}};
}

/// What StoreError says.
template <typename Call>
std::string problemOf(Call call) {
  try {
    call();
  } catch (const audiomatch::StoreError& error) {
    return error.what();
  }
  return "no error";
}

inline bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

#define EXPECT_HAS(text, part) EXPECT_PRED2(testing_support::has, text, part)

}  // namespace testing_support
