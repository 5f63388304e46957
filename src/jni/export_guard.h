#pragma once

#include <utility>

#include "base/logger.h"

namespace audio::jni {

/// Runs the body of an export. No exception crosses one: those of the standard
/// containers, the only ones there are, mean that memory is short, are logged
/// as "out of memory." and become the failure value. What the body owns is
/// released on the way.
template <typename Result, typename Body>
Result guarded(Result failure, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    logMessage("out of memory.");
    return failure;
  }
}

}  // namespace audio::jni
