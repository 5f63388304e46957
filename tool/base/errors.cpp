#include "tool/base/errors.h"

#include <cstdio>

namespace audiomatch {

void report(std::string_view text) noexcept {
  std::fprintf(stderr, "audiomatch: %.*s\n", static_cast<int>(text.size()), text.data());
}

}  // namespace audiomatch
