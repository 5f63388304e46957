#include "tool/output/table_layout.h"

#include <algorithm>
#include <utility>

#include "tool/output/display_text.h"

namespace audiomatch {
namespace {

using Align = TableColumn::Align;

constexpr std::string_view kGap = "  ";
// What a name shrinks to at most.
constexpr std::size_t kLeastNameWidth = 12;

std::string padded(const std::string& cell, std::size_t width, Align align) {
  const std::size_t taken = displayWidth(cell);
  const std::string padding(width > taken ? width - taken : 0, ' ');
  return align == Align::kRight ? padding + cell : cell + padding;
}

}  // namespace

TableLayout::TableLayout(std::vector<TableColumn> columns, std::size_t limit)
    : columns_(std::move(columns)), shown_(columns_.size(), true), limit_(limit) {
  for (TableColumn& column : columns_) {
    column.width = std::max(column.width, displayWidth(column.heading));
  }
  if (limit_ == 0 || lineWidth() <= limit_) return;
  const std::vector<TableColumn> wanted = columns_;
  shrink();
  while (lineWidth() > limit_ && dropColumn()) {
    columns_ = wanted;
    shrink();
  }
  if (lineWidth() <= limit_) return;
  blocks_ = true;
  shown_.assign(columns_.size(), true);
}

std::size_t TableLayout::lineWidth() const noexcept {
  std::size_t width = 0;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (shown_[i]) width += columns_[i].width + (width > 0 ? kGap.size() : 0);
  }
  return width;
}

/// Takes columns of the widest name until the line fits.
void TableLayout::shrink() {
  while (lineWidth() > limit_) {
    TableColumn* widest = nullptr;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      TableColumn& column = columns_[i];
      if (!shown_[i] || column.align != Align::kLeft || column.width <= kLeastNameWidth) continue;
      if (!widest || column.width > widest->width) widest = &column;
    }
    if (!widest) return;
    --widest->width;
  }
}

/// Leaves out one more column. False when all that are left are needed.
bool TableLayout::dropColumn() {
  for (std::size_t i = columns_.size(); i-- > 0;) {
    if (!shown_[i] || columns_[i].need == TableColumn::Need::kAlways) continue;
    shown_[i] = false;
    return true;
  }
  return false;
}

std::string TableLayout::head() const {
  if (blocks_) return {};
  std::vector<std::string> headings;
  for (const TableColumn& column : columns_) headings.push_back(column.heading);
  return line(headings) + '\n';
}

std::string TableLayout::row(std::vector<std::string> cells) const {
  for (std::string& cell : cells) cell = printable(cell);
  if (blocks_) return block(cells);
  std::string whole = line(cells);
  if (limit_ > 0 && displayWidth(whole) > limit_) {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (columns_[i].align == Align::kLeft) cells[i] = shortened(cells[i], columns_[i].width);
    }
    whole = line(cells);
  }
  return whole + '\n';
}

std::string TableLayout::line(const std::vector<std::string>& cells) const {
  std::string line;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (!shown_[i]) continue;
    if (!line.empty()) line += kGap;
    line += padded(cells[i], columns_[i].width, columns_[i].align);
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

std::string TableLayout::block(const std::vector<std::string>& cells) const {
  std::size_t widest = 0;
  for (const TableColumn& column : columns_)
    widest = std::max(widest, displayWidth(column.heading));
  const std::size_t used = widest + kGap.size();
  const std::size_t room = limit_ > used ? limit_ - used : 1;
  std::string block;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    block += padded(columns_[i].heading, widest, Align::kLeft);
    block += kGap;
    block += shortened(cells[i], room) + '\n';
  }
  return block + '\n';
}

}  // namespace audiomatch
