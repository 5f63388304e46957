#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <optional>
#include <string>
#include <vector>

#include "jni/fake_jvm.h"
#include "support/log_capture.h"

namespace testing_support {

using Messages = std::vector<std::string>;

/// Samples as Java code puts them into bytes.
inline std::vector<jbyte> asBytes(const std::vector<jshort>& samples) {
  const auto* bytes = reinterpret_cast<const jbyte*>(samples.data());
  return {bytes, bytes + samples.size() * sizeof(jshort)};
}

/// Calls natives in a Java machine and keeps an eye on them.
class NativeTest : public testing::Test {
 protected:
  /// Runs a native, its `failing`-th call failing if it isn't 0, from the same
  /// random numbers. Expects it to break no rule. Returns its result as a
  /// value; `messages_` are what it logged.
  template <typename Native>
  auto call(const Native& native, long failing = 0) {
    srand48(1);
    LogCapture capture;
    jvm_.beginCall(failing);
    const auto result = native();
    messages_ = capture.messages();
    EXPECT_EQ(jvm_.endCall(reference(result)), Messages{});
    return value(result);
  }

  JNIEnv* env() { return jvm_.env(); }

  FakeJvm jvm_;
  Messages messages_;

 private:
  static jobject reference(jobject result) { return result; }
  static jobject reference(jlong) { return nullptr; }
  jlong value(jlong result) { return result; }
  std::optional<std::string> value(jstring result) { return jvm_.text(result); }
  std::optional<Objects> value(jobjectArray result) { return jvm_.read(result); }
};

}  // namespace testing_support
