#include "tool/service/answers.h"

#include <algorithm>
#include <utility>

#include "tool/output/text.h"

namespace audiomatch {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t kMostCandidates = 5;

template <typename Value>
Json orNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json();
}

}  // namespace

HttpResponse jsonResponse(Json object, unsigned status) {
  return {.status = status, .body = jsonLine(std::move(object)), .headers = {}};
}

HttpResponse errorResponse(unsigned status, const std::string& reason) {
  HttpResponse response = jsonResponse({{"error", reason}}, status);
  if (status == 401) response.headers.emplace("WWW-Authenticate", "Bearer");
  if (status == 503) response.headers.emplace("Retry-After", "1");
  return response;
}

Json asJson(const Answer& answer) {
  const std::vector<Candidate>& found = answer.verdict.candidates;
  auto candidates = Json::array();
  for (std::size_t i = 0; i < std::min(found.size(), kMostCandidates); ++i) {
    candidates.push_back({{"name", found[i].name},
                          {"hits", found[i].hits},
                          {"agreeing", found[i].agreeing},
                          {"position", thousandths(found[i].position())}});
  }
  return {{"recognised", answer.verdict.recognised},
          {"level", orNull(answer.level)},
          {"discrimination",
           answer.engine_discrimination ? Json(shortest(*answer.engine_discrimination)) : Json()},
          {"name_discrimination", thousandths(answer.verdict.discrimination)},
          {"candidates", candidates}};
}

Json asJson(const ChannelAnswer& answer) {
  auto candidates = Json::array();
  for (std::size_t i = 0; i < std::min(answer.candidates.size(), kMostCandidates); ++i) {
    const HeardOn& heard = answer.candidates[i];
    candidates.push_back({{"id", heard.id},
                          {"name", heard.name},
                          {"hits", heard.hits},
                          {"agreeing", heard.agreeing},
                          {"seconds_ago", thousandths(heard.seconds_ago)}});
  }
  const bool any = !answer.candidates.empty();
  return {{"recognised", answer.recognised},
          {"level", any ? Json(answer.level) : Json()},
          {"discrimination", any ? Json(thousandths(answer.discrimination)) : Json()},
          {"candidates", candidates}};
}

Json asJson(const ChannelStatus& channel) {
  return {{"id", channel.id},
          {"name", channel.name},
          {"analyses", channel.analyses},
          {"attributes", channel.attributes},
          {"seconds_since", thousandths(channel.seconds_since)},
          {"lag", thousandths(channel.lag)}};
}

std::string kindOf(const Question& question, bool recognised) {
  if (recognised) return "recognised";
  if (question.outcome == audio::ExtractionOutcome::kSilent) return "silence";
  return question.features.empty() ? "no features" : "unknown";
}

}  // namespace audiomatch
