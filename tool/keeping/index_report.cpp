#include "tool/keeping/index_report.h"

#include <fmt/core.h>

#include "tool/output/table.h"
#include "tool/output/text.h"

namespace audiomatch {

std::string IndexReport::asTable() const {
  using Align = Table::Align;
  Table table;
  table.addColumn("FILE", Align::kLeft);
  table.addColumn("NAME", Align::kLeft);
  for (const char* heading : {"PARTS", "SECONDS", "FEATURES", "ENTRIES"}) {
    table.addColumn(heading, Align::kRight);
  }
  for (const IndexedFile& file : files) {
    table.addRow({file.path.string(), file.name, std::to_string(file.parts),
                  fmt::format("{:.1f}", file.seconds), std::to_string(file.features),
                  std::to_string(file.entries)});
  }
  std::string text = table.text();
  text += fmt::format("\n{}: {} audios, {} entries, {} bytes", database.string(), audioCount(),
                      entryCount(), bytes);
  if (skipped > 0) text += fmt::format("; {} files skipped", skipped);
  return text + '\n';
}

std::string IndexReport::asJson() const {
  std::string text;
  for (const IndexedFile& file : files) {
    text += jsonLine({{"file", file.path.string()},
                      {"name", file.name},
                      {"parts", file.parts},
                      {"seconds", file.seconds},
                      {"features", file.features},
                      {"entries", file.entries}});
  }
  return text + jsonLine({{"database", database.string()},
                          {"audios", audioCount()},
                          {"entries", entryCount()},
                          {"bytes", bytes},
                          {"skipped", skipped}});
}

std::size_t IndexReport::audioCount() const noexcept {
  std::size_t count = 0;
  for (const IndexedFile& file : files) count += file.parts;
  return count;
}

std::size_t IndexReport::entryCount() const noexcept {
  std::size_t count = 0;
  for (const IndexedFile& file : files) count += file.entries;
  return count;
}

}  // namespace audiomatch
