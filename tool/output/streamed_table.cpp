#include "tool/output/streamed_table.h"

#include <cstdio>
#include <utility>

#include "tool/output/status_line.h"

namespace audiomatch {

void StreamedTable::row(std::vector<std::string> cells) {
  const std::string text = (begun_ ? "" : layout_.head()) + layout_.row(std::move(cells));
  begun_ = true;
  printAboveStatus(stdout, text);
}

}  // namespace audiomatch
