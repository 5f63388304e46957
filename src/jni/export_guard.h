#pragma once

#include <utility>

#include "base/logger.h"

namespace audio::jni {

/// Runs the body of an export. An exception of the standard containers, which
/// means that memory is short, ends here: it is logged as "out of memory." and
/// becomes the failure value. What the body owns is released on the way.
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
