#pragma once

#include <jni.h>

#include <cstdint>

namespace audio::jni {

/// The Java `long` that stands for an engine object: its address,
/// sign-extended. The Java object owns the engine object.
template <typename Object>
jlong toHandle(Object* object) noexcept {
  return static_cast<jlong>(reinterpret_cast<std::intptr_t>(object));
}

/// The object of a handle. A handle whose low 32 bits are 0 is null, on 32-bit
/// and 64-bit machines alike; no allocator places an object at such an address,
/// which its own bookkeeping precedes.
template <typename Object>
Object* fromHandle(jlong handle) noexcept {
  if (static_cast<std::uint32_t>(handle) == 0) return nullptr;
  return reinterpret_cast<Object*>(static_cast<std::intptr_t>(handle));
}

}  // namespace audio::jni
