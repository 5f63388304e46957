#include "tool/keeping/index_report.h"

#include <fmt/core.h>

#include "tool/keeping/background.h"
#include "tool/output/display_text.h"
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
  std::string text = files.empty() ? std::string() : table.text() + '\n';
  text +=
      fmt::format("{}: {} audios, {} entries{}, {} bytes; added {}", printable(database.string()),
                  audios, entries, withBackground(background), bytes, files.size());
  if (already_there > 0) text += fmt::format(", already there {}", already_there);
  if (duplicates > 0) text += fmt::format(", the same audio as another {}", duplicates);
  if (skipped > 0) text += fmt::format(", skipped {}", skipped);
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
                          {"audios", audios},
                          {"entries", entries},
                          {"background", background},
                          {"bytes", bytes},
                          {"skipped", skipped},
                          {"added", files.size()},
                          {"alreadyThere", already_there},
                          {"duplicates", duplicates}});
}

}  // namespace audiomatch
