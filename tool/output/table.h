#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace audiomatch {

/// A table for people: columns as wide as their widest cell, headings above.
class Table {
 public:
  enum class Align { kLeft, kRight };

  /// Adds a column, before any row.
  void addColumn(std::string heading, Align align);

  /// Adds a row of as many cells as there are columns.
  void addRow(std::vector<std::string> cells);

  /// The table's lines, each ended, without blanks at their ends.
  std::string text() const;

 private:
  struct Column {
    std::string heading;
    Align align;
    std::size_t width;
  };

  std::string line(const std::vector<std::string>& cells) const;

  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace audiomatch
