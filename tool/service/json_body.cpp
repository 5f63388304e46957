#include "tool/service/json_body.h"

#include <fmt/core.h>

#include "tool/service/http_error.h"

namespace audiomatch {

nlohmann::json parseJsonBody(const std::string& body, int depth, std::size_t values) {
  using Json = nlohmann::json;
  if (body.size() > kLargestJson) {
    throw HttpError(413, fmt::format("the body has more than {} bytes of JSON", kLargestJson));
  }
  std::size_t left = values;
  const auto watch = [&](int at, Json::parse_event_t event, Json&) {
    const bool ends = event == Json::parse_event_t::object_end ||
                      event == Json::parse_event_t::array_end || event == Json::parse_event_t::key;
    if (ends) return true;
    if (at > depth) throw HttpError(413, fmt::format("the JSON is nested deeper than {}", depth));
    if (left-- == 0) throw HttpError(413, fmt::format("the JSON has more than {} values", values));
    return true;
  };
  Json json = Json::parse(body, watch, false);
  if (!json.is_object()) throw HttpError(400, "the body isn't a JSON object");
  return json;
}

}  // namespace audiomatch
