#include "tool/output/table.h"

#include <algorithm>

#include "tool/output/text.h"

namespace audiomatch {
namespace {

constexpr std::string_view kGap = "  ";

}  // namespace

void Table::addColumn(std::string heading, Align align) {
  const std::size_t width = characterCount(heading);
  columns_.push_back({std::move(heading), align, width});
}

void Table::addRow(std::vector<std::string> cells) {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    columns_[i].width = std::max(columns_[i].width, characterCount(cells[i]));
  }
  rows_.push_back(std::move(cells));
}

std::string Table::text() const {
  std::vector<std::string> headings;
  for (const Column& column : columns_) headings.push_back(column.heading);
  std::string text = line(headings);
  for (const auto& row : rows_) text += line(row);
  return text;
}

std::string Table::line(const std::vector<std::string>& cells) const {
  std::string line;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const std::string padding(columns_[i].width - characterCount(cells[i]), ' ');
    if (i > 0) line += kGap;
    line += columns_[i].align == Align::kRight ? padding + cells[i] : cells[i] + padding;
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line + '\n';
}

}  // namespace audiomatch
