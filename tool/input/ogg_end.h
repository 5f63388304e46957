#pragma once

#include "tool/input/descriptor.h"

namespace audiomatch {

/// What is wrong with an Ogg file whose end isn't there.
inline constexpr const char* kOggEndMissing = "ends there without the mark of an end";

/// False for an Ogg file whose last page isn't whole or isn't marked as a last
/// one: something behind it is missing. True for a pipe, of which nothing can
/// be told. Leaves the descriptor where it is.
bool oggEndIsThere(const Descriptor& file);

}  // namespace audiomatch
