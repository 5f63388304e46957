#pragma once

#include <string>
#include <vector>

#include "tool/output/table_layout.h"
#include "tool/output/terminal.h"

namespace audiomatch {

/// A table for people whose rows are all known before it is printed: columns as
/// wide as their widest cell, headings above. It fits the terminal that standard
/// output is, as TableLayout says, and is whole in a pipe.
class Table {
 public:
  using Align = TableColumn::Align;
  using Need = TableColumn::Need;

  /// @param limit  columns that lines may take, 0 for any number
  explicit Table(std::size_t limit = outputWidth()) : limit_(limit) {}

  /// Adds a column, before any row.
  void addColumn(std::string heading, Align align, Need need = Need::kAlways);

  /// Adds a row of as many cells as there are columns.
  void addRow(std::vector<std::string> cells);

  /// The table's lines, each ended, without blanks at their ends.
  std::string text() const;

 private:
  std::size_t limit_;
  std::vector<TableColumn> columns_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace audiomatch
