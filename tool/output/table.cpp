#include "tool/output/table.h"

#include <algorithm>
#include <utility>

#include "tool/output/display_text.h"

namespace audiomatch {

void Table::addColumn(std::string heading, Align align, Need need) {
  columns_.push_back({std::move(heading), align, 0, need});
}

void Table::addRow(std::vector<std::string> cells) {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    columns_[i].width = std::max(columns_[i].width, displayWidth(printable(cells[i])));
  }
  rows_.push_back(std::move(cells));
}

std::string Table::text() const {
  const TableLayout layout(columns_, limit_);
  std::string text = layout.head();
  for (const auto& row : rows_) text += layout.row(row);
  return text;
}

}  // namespace audiomatch
