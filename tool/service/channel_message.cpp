#include "tool/service/channel_message.h"

#include <fmt/core.h>

#include <utility>

#include "feature/land_mark.h"
#include "match/database/packed_entry.h"
#include "stream/stream_grid.h"
#include "tool/service/http_error.h"
#include "tool/service/json_body.h"

namespace audiomatch {
namespace {

using Json = nlohmann::json;

[[noreturn]] void refuse(const std::string& what) { throw HttpError(400, what); }

std::uint32_t numberAt(const Json& object, const char* key, std::uint32_t least,
                       std::uint32_t most) {
  const auto place = object.find(key);
  if (place == object.end() || !place->is_number_unsigned() ||
      place->get<std::uint64_t>() < least || place->get<std::uint64_t>() > most) {
    refuse(fmt::format("{} must be a number from {} to {}", key, least, most));
  }
  return place->get<std::uint32_t>();
}

std::string textAt(const Json& object, const char* key, std::size_t most) {
  const auto place = object.find(key);
  if (place == object.end() || !place->is_string()) refuse(fmt::format("{} must be text", key));
  auto text = place->get<std::string>();
  if (text.empty() || text.size() > most) {
    refuse(fmt::format("{} must have 1 to {} bytes", key, most));
  }
  return text;
}

const Json& listAt(const Json& object, const char* key) {
  const auto place = object.find(key);
  if (place == object.end() || !place->is_array()) refuse(fmt::format("{} must be a list", key));
  return *place;
}

ChannelMessage::Analysis analysisOf(const Json& json) {
  if (!json.is_object()) refuse("an analysis must be an object");
  ChannelMessage::Analysis analysis{numberAt(json, "number", 0, UINT32_MAX), {}};
  const Json& pairs = listAt(json, "attributes");
  analysis.attributes.reserve(pairs.size());
  for (const Json& pair : pairs) {
    const bool fits = pair.is_array() && pair.size() == 2 && pair[0].is_number_unsigned() &&
                      pair[1].is_number_unsigned() &&
                      pair[0].get<std::uint64_t>() <= audio::kEntryTimeMask &&
                      pair[1].get<std::uint64_t>() < audio::kHashKeys;
    if (!fits) refuse("attributes must be pairs [time, hashKey] of at most 14 and 20 bits");
    analysis.attributes.push_back({pair[0].get<std::uint64_t>(), pair[1].get<std::uint32_t>()});
  }
  return analysis;
}

}  // namespace

std::string encodeMessage(const ChannelMessage& message) {
  auto analyses = Json::array();
  for (const ChannelMessage::Analysis& analysis : message.analyses) {
    auto pairs = Json::array();
    for (const audio::AudioAttribute& attribute : analysis.attributes) {
      pairs.push_back({audio::entryTime(attribute.hashValue), attribute.hashKey});
    }
    analyses.push_back({{"number", analysis.number}, {"attributes", std::move(pairs)}});
  }
  const Json json{{"name", message.session.name},
                  {"session", message.session.key},
                  {"update", message.session.periods.update},
                  {"monitor", message.session.periods.monitor},
                  {"analyses", std::move(analyses)}};
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

ChannelMessage decodeMessage(const std::string& body) {
  // A pair and its numbers for each attribute, three values for each analysis, and the rest.
  const Json json = parseJsonBody(body, 5, 3 * kMostAttributes + 3 * kMostAnalyses + 100);
  ChannelMessage message;
  message.session = {
      textAt(json, "name", kLongestName),
      {numberAt(json, "update", 1, static_cast<std::uint32_t>(audio::kBufferSeconds)),
       numberAt(json, "monitor", 1, kLongestMonitor)},
      textAt(json, "session", kLongestSession)};
  if (message.session.periods.monitor % message.session.periods.update != 0) {
    refuse("monitor must be a multiple of update");
  }
  std::size_t attributes = 0;
  for (const Json& analysis : listAt(json, "analyses")) {
    message.analyses.push_back(analysisOf(analysis));
    attributes += message.analyses.back().attributes.size();
  }
  if (message.analyses.size() > kMostAnalyses || attributes > kMostAttributes) {
    throw HttpError(413, fmt::format("more than {} analyses, or {} attributes in them",
                                     kMostAnalyses, kMostAttributes));
  }
  return message;
}

}  // namespace audiomatch
