#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "tool/recognition/live_channels.h"
#include "tool/recognition/recogniser.h"
#include "tool/service/http_message.h"
#include "tool/service/question.h"

namespace audiomatch {

/// An object as the body of an answer, with its "version".
HttpResponse jsonResponse(nlohmann::ordered_json object, unsigned status = 200);

/// The answer to what can't be done: {"error": reason}.
HttpResponse errorResponse(unsigned status, const std::string& reason);

/// What was found among references, with the leading candidates.
nlohmann::ordered_json asJson(const Answer& answer);

/// What was found on the channels on air, likewise.
nlohmann::ordered_json asJson(const ChannelAnswer& answer);

/// A channel on air.
nlohmann::ordered_json asJson(const ChannelStatus& channel);

/// What a question comes to as a whole: "recognised", "unknown", and of recordings
/// without features "silence" or "no features".
std::string kindOf(const Question& question, bool recognised);

}  // namespace audiomatch
