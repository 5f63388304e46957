#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace audiomatch {

/// A column of a table.
struct TableColumn {
  enum class Align { kLeft, kRight };
  /// Whether it is left out where there isn't room for all.
  enum class Need { kAlways, kIfThereIsRoom };

  std::string heading;
  Align align = Align::kLeft;
  std::size_t width = 0;  ///< of its widest cell, as far as known; its heading fits in any case
  Need need = Need::kAlways;
};

/// How the rows of a table become lines that fit.
///
/// When the columns are too wide together, left-aligned ones, which hold names,
/// shrink to a dozen columns each; if that isn't enough, columns that aren't
/// always needed are left out, last ones first; then each row becomes a block
/// of lines "HEADING  cell". Without a limit nothing of this happens: a cell
/// wider than its column moves the rest of its line to the right.
class TableLayout {
 public:
  /// @param limit  columns of the terminal, 0 for no limit
  TableLayout(std::vector<TableColumn> columns, std::size_t limit);

  /// The line of headings, ended; nothing when rows are blocks.
  std::string head() const;

  /// A row of as many cells as there are columns: one line, or a block and an
  /// empty line. Cells are made printable.
  std::string row(std::vector<std::string> cells) const;

 private:
  std::size_t lineWidth() const noexcept;
  void shrink();
  bool dropColumn();
  std::string line(const std::vector<std::string>& cells) const;
  std::string block(const std::vector<std::string>& cells) const;

  std::vector<TableColumn> columns_;
  std::vector<bool> shown_;
  std::size_t limit_;
  bool blocks_ = false;
};

}  // namespace audiomatch
