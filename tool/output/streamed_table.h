#pragma once

#include <string>
#include <vector>

#include "tool/output/table_layout.h"
#include "tool/output/terminal.h"

namespace audiomatch {

/// A table for people whose rows are printed as they come, on standard output:
/// headings before the first row, columns as wide as they are said to be. It
/// fits the terminal, as TableLayout says, and is whole in a pipe.
class StreamedTable {
 public:
  /// @param columns  with the widths of their widest cells, or a guess
  explicit StreamedTable(std::vector<TableColumn> columns, std::size_t limit = outputWidth())
      : layout_(std::move(columns), limit) {}

  /// Prints a row of as many cells as there are columns, at once.
  void row(std::vector<std::string> cells);

 private:
  TableLayout layout_;
  bool begun_ = false;
};

}  // namespace audiomatch
