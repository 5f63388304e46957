#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tool/base/errors.h"
#include "tool/output/table_layout.h"
#include "tool/recognition/recogniser.h"
#include "tool/recognition/timeline.h"

namespace audiomatch {

/// One line of what `match` prints: a recording, or a stretch of a long one.
struct MatchRow {
  std::string file;
  Heard heard;
  // Of a recording that was matched as a whole.
  std::optional<std::size_t> features;
  std::optional<std::size_t> hits;
  std::optional<double> percent_faster;  ///< than the reference, where speeds were tried
  std::string error;                     ///< why there is no candidate; or empty
  ExitCode code = ExitCode::kSuccess;

  /// The verdict.
  bool isRecognised() const noexcept { return heard.kind == Heard::Kind::kRecognised; }
};

/// The row of a recording that was matched as a whole.
MatchRow rowOf(const std::string& file, double seconds, const Answer& answer);

/// The row of a file of which there is no answer.
MatchRow failedRow(const std::string& file, const std::string& error);

/// What a kind of stretch is called: "recognised", "unknown", "silence".
std::string kindName(Heard::Kind kind);

/// The row as an object.
///
/// @param event    what is told: "heard", or of a stretch that goes on, "now"
/// @param explain  with the leading candidates
nlohmann::ordered_json asJson(const MatchRow& row, const char* event, bool explain);

/// The layout of the rows' table on standard output, and a row's cells.
///
/// @param fileWidth  columns of the widest file name
/// @param with_speed  whether rows have one
TableLayout matchLayout(std::size_t fileWidth, bool with_speed);
std::vector<std::string> cellsOf(const MatchRow& row, bool with_speed);

/// Lines that list the leading candidates, each with its hits.
std::string explanation(const MatchRow& row);

}  // namespace audiomatch
