#pragma once

#include <jni.h>

#include <cstdint>
#include <memory>
#include <new>
#include <utility>

#include "base/logger.h"

namespace audio::jni {

// What all exports share. They are found by their names, which follow the JNI
// naming rule. Their second argument, the Java object or class, is never used,
// so natives may be static or not. A Java exception that a failed call left is
// not cleared: it reaches the Java caller.

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

/// The Java `long` that stands for an engine object: its address,
/// sign-extended. The Java object owns the engine object.
template <typename Object>
jlong toHandle(Object* object) noexcept {
  return static_cast<jlong>(reinterpret_cast<std::intptr_t>(object));
}

/// A new object that a handle can stand for, or null when memory is short.
///
/// A handle whose low 32 bits are 0 is null, on 32-bit and 64-bit machines
/// alike, and some allocators place objects at such addresses. An object that
/// stands there holds its place until another stands elsewhere.
template <typename Object>
std::unique_ptr<Object> makeForHandle() noexcept {
  std::unique_ptr<Object> object(new (std::nothrow) Object);
  if (!object || static_cast<std::uint32_t>(toHandle(object.get())) != 0) return object;
  return makeForHandle<Object>();
}

/// The object of a handle; null for a handle whose low 32 bits are 0.
template <typename Object>
Object* fromHandle(jlong handle) noexcept {
  if (static_cast<std::uint32_t>(handle) == 0) return nullptr;
  return reinterpret_cast<Object*>(static_cast<std::intptr_t>(handle));
}

/// The object of a handle that has to have one; null with a message.
template <typename Object>
Object* requireObject(jlong handle) noexcept {
  Object* object = fromHandle<Object>(handle);
  // One text, whatever the object is.
  if (!object) logMessage("audio matcher is null.");
  return object;
}

}  // namespace audio::jni
