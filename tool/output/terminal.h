#pragma once

#include <cstddef>

namespace audiomatch {

/// Columns of the terminal that a descriptor writes to; 0 when it is none, so
/// that nothing has to fit.
std::size_t terminalWidth(int descriptor) noexcept;

/// The same of standard output.
std::size_t outputWidth() noexcept;

}  // namespace audiomatch
