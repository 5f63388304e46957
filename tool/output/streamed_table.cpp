#include "tool/output/streamed_table.h"

#include <cstdio>
#include <utility>

namespace audiomatch {

void StreamedTable::row(std::vector<std::string> cells) {
  const std::string text = (begun_ ? "" : layout_.head()) + layout_.row(std::move(cells));
  begun_ = true;
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

}  // namespace audiomatch
