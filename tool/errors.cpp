#include "tool/errors.h"

#include <fmt/core.h>

#include <cstdio>

namespace audiomatch {

void report(std::string_view text) { fmt::print(stderr, "audiomatch: {}\n", text); }

}  // namespace audiomatch
