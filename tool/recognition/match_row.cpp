#include "tool/recognition/match_row.h"

#include <fmt/core.h>

#include <algorithm>
#include <optional>

#include "tool/output/display_text.h"
#include "tool/output/terminal.h"
#include "tool/output/text.h"

namespace audiomatch {
namespace {

constexpr std::size_t kMostExplained = 5;
constexpr std::size_t kClockWidth = 9;  // h:mm:ss.t
constexpr std::size_t kNameWidth = 24;  // of most

template <typename Value>
nlohmann::ordered_json orNull(const std::optional<Value>& value) {
  return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json();
}

nlohmann::ordered_json candidatesAsJson(const std::vector<Candidate>& candidates) {
  auto list = nlohmann::ordered_json::array();
  for (const Candidate& candidate : candidates) {
    list.push_back({{"name", candidate.name},
                    {"hits", candidate.hits},
                    {"agreeing", candidate.agreeing},
                    {"position", thousandths(candidate.position())}});
  }
  return list;
}

}  // namespace

MatchRow rowOf(const std::string& file, double seconds, const Answer& answer) {
  MatchRow row{.file = file,
               .heard = {},
               .features = answer.features,
               .hits = answer.hits,
               .percent_faster = {},
               .error = answer.problem,
               .code = answer.code};
  row.heard.to = seconds;
  if (answer.is_silent) row.heard.kind = Heard::Kind::kSilence;
  if (answer.verdict.candidates.empty() || !answer.problem.empty()) return row;
  const Candidate& best = answer.verdict.candidates[0];
  row.heard.kind = answer.verdict.recognised ? Heard::Kind::kRecognised : Heard::Kind::kUnknown;
  row.heard.name = best.name;
  row.heard.position = best.position();
  row.heard.surest = surestOf(best, answer);
  return row;
}

MatchRow failedRow(const std::string& file, const std::string& error) {
  return {.file = file,
          .heard = {},
          .features = {},
          .hits = {},
          .percent_faster = {},
          .error = error,
          .code = ExitCode::kFailure};
}

std::string kindName(Heard::Kind kind) {
  switch (kind) {
    case Heard::Kind::kRecognised:
      return "recognised";
    case Heard::Kind::kSilence:
      return "silence";
    default:
      return "unknown";
  }
}

nlohmann::ordered_json asJson(const MatchRow& row, const char* event, bool explain) {
  const Surest& surest = row.heard.surest;
  const bool named = !row.heard.name.empty();
  std::optional<double> engine_discrimination;
  if (surest.engine_discrimination) {
    engine_discrimination = shortest(*surest.engine_discrimination);
  }
  nlohmann::ordered_json object{
      {"file", row.file},
      {"name", row.heard.name},
      {"level", orNull(surest.level)},
      {"discrimination", orNull(engine_discrimination)},
      {"features", orNull(row.features)},
      {"hits", orNull(row.hits)},
      {"error", orNull(row.error.empty() ? std::nullopt : std::optional(row.error))},
      {"recognised", row.isRecognised()},
      {"kind", row.error.empty() ? nlohmann::ordered_json(kindName(row.heard.kind))
                                 : nlohmann::ordered_json()},
      {"agreeing", surest.agreeing},
      {"name_discrimination", named ? nlohmann::ordered_json(thousandths(surest.discrimination))
                                    : nlohmann::ordered_json()},
      {"position",
       named ? nlohmann::ordered_json(thousandths(row.heard.position)) : nlohmann::ordered_json()},
      {"from", thousandths(row.heard.from)},
      {"to", thousandths(row.heard.to)},
      {"event", event}};
  if (row.percent_faster) object["speed"] = *row.percent_faster;
  if (explain) object["candidates"] = candidatesAsJson(surest.candidates);
  return object;
}

TableLayout matchLayout(std::size_t fileWidth, bool with_speed) {
  using Align = TableColumn::Align;
  using Need = TableColumn::Need;
  std::vector<TableColumn> columns{{"FILE", Align::kLeft, fileWidth},
                                   {"FROM", Align::kRight, kClockWidth, Need::kIfThereIsRoom},
                                   {"TO", Align::kRight, kClockWidth, Need::kIfThereIsRoom},
                                   {"MATCH", Align::kLeft, kNameWidth},
                                   {"AT", Align::kRight, kClockWidth},
                                   {"AGREEING", Align::kRight},
                                   {"DISCR.", Align::kRight, 0, Need::kIfThereIsRoom},
                                   {"LEVEL", Align::kRight, 0, Need::kIfThereIsRoom}};
  if (with_speed) columns.push_back({"SPEED", Align::kRight});
  return TableLayout(std::move(columns), outputWidth());
}

std::vector<std::string> cellsOf(const MatchRow& row, bool with_speed) {
  const Surest& surest = row.heard.surest;
  std::string match = "-";
  if (row.isRecognised()) {
    match = row.heard.name;
  } else if (row.heard.kind == Heard::Kind::kSilence) {
    match = "(silence)";
  } else if (!row.heard.name.empty()) {
    match = "- (best: " + row.heard.name + ")";
  }
  const bool named = !row.heard.name.empty();
  std::vector<std::string> cells{row.file,
                                 clockTime(row.heard.from),
                                 clockTime(row.heard.to),
                                 match,
                                 named ? clockTime(row.heard.position) : "-",
                                 named ? std::to_string(surest.agreeing) : "-",
                                 named ? fmt::format("{:.2f}", surest.discrimination) : "-",
                                 surest.level ? std::to_string(*surest.level) : "-"};
  if (with_speed) {
    cells.push_back(row.percent_faster ? fmt::format("{:+.1f} %", *row.percent_faster) : "-");
  }
  return cells;
}

std::string explanation(const MatchRow& row) {
  std::string text;
  const auto& candidates = row.heard.surest.candidates;
  for (std::size_t i = 0; i < std::min(candidates.size(), kMostExplained); ++i) {
    const Candidate& candidate = candidates[i];
    text += fmt::format("  {}. {}: {} of {} hits agree, on {}\n", i + 1, printable(candidate.name),
                        candidate.agreeing, candidate.hits, clockTime(candidate.position()));
  }
  return text;
}

}  // namespace audiomatch
