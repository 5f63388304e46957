#pragma once

#include <utility>

#include "base/logger.h"

namespace audio::jni {

/// Runs the body of an export. No exception crosses one: those of the standard
/// containers, std::bad_alloc and the std::length_error of a list that could
/// never be held, end here as lack of memory, with a message, and become the
/// failure value. What the body owns is released on the way.
template <typename Result, typename Body>
Result guarded(Result failure, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    logOutOfMemory();
    return failure;
  }
}

}  // namespace audio::jni
