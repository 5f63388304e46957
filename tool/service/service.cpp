#include "tool/service/service.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "tool/base/errors.h"
#include "tool/output/messages.h"
#include "tool/recognition/recogniser.h"
#include "tool/service/answers.h"
#include "tool/service/drawing.h"
#include "tool/service/http_error.h"
#include "tool/service/json_body.h"
#include "tool/service/metrics.h"
#include "tool/service/page.h"
#include "tool/service/question.h"
#include "tool/service/reference_upload.h"

namespace audiomatch {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kChannelPath = "/v1/channels/";
constexpr std::string_view kReferencePath = "/v1/references/";

// The engine's audio indices are signed.
constexpr std::uint32_t kHighestChannel = INT32_MAX;

/// The identifier behind "/v1/channels/". Throws HttpError.
std::uint32_t channelOf(const HttpRequest& request) {
  const std::string text = request.path.substr(kChannelPath.size());
  std::uint32_t id = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, id);
  if (text.empty() || error != std::errc() || stop != end || id > kHighestChannel) {
    throw HttpError(400, fmt::format("a channel's number is from 0 to {}", kHighestChannel));
  }
  return id;
}

}  // namespace

std::vector<Route> Service::routes() {
  using enum Route::Access;
  using enum StoreUse;
  const auto to = [this](Answering answering, StoreUse use) {
    return [=, this](const HttpRequest& request) { return tryTo(answering, use, request); };
  };
  const auto on = [](HttpLane lane, Route route) {
    route.lane = lane;
    return route;
  };
  const auto quick = [](Route route) {
    route.is_quick = true;
    return route;
  };
  using enum HttpLane;
  return {
      {"POST",
       "/v1/recognise",
       kReader,
       kLargestQuestion,
       to(&Service::recognise, kLooking),
       {"rate", "channels", "format", "drawing", "wait"}},
      // A store that is away is waited for by lists, too.
      on(kPatient, {"GET", "/v1/references", kReader, 0, to(&Service::listReferences, kLooking)}),
      on(kPatient, {"POST",
                    "/v1/references",
                    kChanger,
                    kLargestReference,
                    to(&Service::addReference, kReferences),
                    {"name", "rate", "channels", "format"}}),
      on(kPatient, {"DELETE", kReferencePath.data(), kChanger, 0,
                    to(&Service::removeReference, kReferences)}),
      on(kPatient, {"GET", "/v1/channels", kReader, 0, to(&Service::listChannels, kLooking)}),
      on(kMessages, {"POST", kChannelPath.data(), kChanger, kLargestJson,
                     to(&Service::takeAnalyses, kChannels)}),
      on(kMessages, {"DELETE",
                     kChannelPath.data(),
                     kChanger,
                     0,
                     to(&Service::endChannel, kChannels),
                     {"session"}}),
      // Whether it is alive is no secret, and asked by those who have no token.
      quick({"GET", "/healthz", kAnybody, 0, to(&Service::health, kLooking)}),
      quick({"GET", "/metrics", kReader, 0, to(&Service::showMetrics, kLooking)}),
      // The page asks its reader for the token.
      {"GET", "/", kAnybody, 0, pageResponse},
      {"GET", kPagePath.data(), kAnybody, 0, pageResponse},
  };
}

Service::Service(std::unique_ptr<Store> store, const Thresholds& thresholds,
                 const AccessFiles& access)
    : store_(std::move(store)), thresholds_(thresholds), router_(routes(), access) {}

void Service::tidy() noexcept {
  try {
    for (const std::string& name : store_->tidy()) note(name + ": nobody listens any more");
    health_.worked(StoreUse::kLooking);
  } catch (const FileError& error) {
    health_.failed(StoreUse::kLooking, error);
  } catch (const std::exception& error) {
    report(error.what());
  }
}

/// Answers; a failure of the store is noted.
HttpResponse Service::tryTo(Answering answering, StoreUse use, const HttpRequest& request) {
  try {
    return (this->*answering)(request);
  } catch (const FileError& error) {
    health_.failed(use, error);
    throw HttpError(503, "the store fails; the server's messages tell why");
  }
}

HttpResponse Service::recognise(const HttpRequest& request) {
  const Question question = readQuestion(request);
  Json references;
  Json channels;
  Drawing drawing(request, question);
  bool recognised = false;
  bool is_partial = false;
  if (!question.features.empty()) {
    const auto patience =
        asksFor(request, "wait") ? Store::Patience::kWait : Store::Patience::kNone;
    const Store::Found found = store_->find(question.features, patience);
    is_partial = found.references.is_partial;
    const Answer of_references = judgeHits(question.features, found.references, thresholds_);
    const auto on_air = [this](std::uint32_t id) { return store_->onAir(id); };
    const ChannelAnswer of_channels =
        judgeAttributes(question.features, found.channels, thresholds_, on_air);
    recognised = of_references.verdict.recognised || of_channels.recognised;
    if (found.references.names->recordingCount() > 0) references = asJson(of_references);
    channels = asJson(of_channels);
    drawing.showHits(of_references, found.references);
    drawing.showHits(of_channels, found.channels, on_air);
  }
  Json answer = {{"kind", kindOf(question, recognised)},
                 {"features", question.features.size()},
                 {"seconds", question.seconds},
                 {"damaged", question.damage ? Json(describe(*question.damage)) : Json()},
                 {"references", references},
                 {"channels", channels},
                 {"partial", is_partial}};
  drawing.addTo(answer);
  return jsonResponse(std::move(answer));
}

HttpResponse Service::listReferences(const HttpRequest&) {
  auto list = Json::array();
  const auto names = store_->names();
  const auto count = static_cast<std::int32_t>(names->audioCount());
  for (std::int32_t audio = 0; audio < count; ++audio) {
    const std::int32_t recording = names->recording(audio);
    if (recording < 0) continue;
    if (recording != audio) {
      list.back()["parts"] = list.back()["parts"].get<int>() + 1;
      continue;
    }
    list.push_back(
        {{"name", names->name(audio)}, {"parts", 1}, {"removable", store_->isRemovable(audio)}});
  }
  return jsonResponse({{"references", std::move(list)}});
}

HttpResponse Service::addReference(const HttpRequest& request) {
  const std::unique_lock only(adding_, std::try_to_lock);
  if (!only) throw HttpError(503, "another reference is being added; try again later");
  const NewReference reference = readReference(request);
  std::size_t entries = 0;
  for (const auto& part : reference.parts) entries += part.size();
  const Adding added = store_->add(reference);
  if (added == Adding::kNoStore) {
    throw HttpError(409, "the server was started with --store none: nothing can be added");
  }
  if (added == Adding::kConflict) {
    throw HttpError(409, "there is another reference of this name; remove it first");
  }
  if (added == Adding::kAdded) health_.worked(StoreUse::kReferences);
  return jsonResponse({{"name", reference.name},
                       {"parts", reference.parts.size()},
                       {"entries", entries},
                       {"added", added == Adding::kAdded}},
                      added == Adding::kAdded ? 201 : 200);
}

HttpResponse Service::removeReference(const HttpRequest& request) {
  const std::string name = requireName(request.path.substr(kReferencePath.size()));
  const bool removed = store_->remove(name);
  if (!removed && store_->names()->has(name)) {
    throw HttpError(409,
                    "it is one of the database's; end the server, then remove it there (audiomatch "
                    "remove)");
  }
  return jsonResponse({{"name", name}, {"removed", removed}});
}

HttpResponse Service::listChannels(const HttpRequest&) {
  auto list = Json::array();
  for (const ChannelStatus& channel : store_->channels()) list.push_back(asJson(channel));
  return jsonResponse({{"channels", std::move(list)}});
}

HttpResponse Service::takeAnalyses(const HttpRequest& request) {
  const std::uint32_t id = channelOf(request);
  // Which no page of a stranger can have a browser send.
  if (request.type != "application/json") {
    throw HttpError(415, "a message needs Content-Type: application/json");
  }
  ChannelMessage message = decodeMessage(request.body);
  try {
    for (ChannelMessage::Analysis& analysis : message.analyses) {
      take(id, message.session, std::move(analysis));
    }
  } catch (const std::length_error& error) {
    throw HttpError(503, std::string(error.what()) + "; try again later");
  }
  health_.worked(StoreUse::kChannels);
  return jsonResponse({{"id", id}, {"analyses", message.analyses.size()}});
}

void Service::take(std::uint32_t id, const ChannelSession& session,
                   ChannelMessage::Analysis analysis) {
  switch (store_->apply(id, session, analysis.number, std::move(analysis.attributes))) {
    case Taken::kReplaced:
      throw HttpError(409, "another listener has taken the channel over");
    case Taken::kBegins:
      note(session.name + ": on air");
      break;
    case Taken::kGoesOn:
      break;
  }
}

HttpResponse Service::endChannel(const HttpRequest& request) {
  const std::uint32_t id = channelOf(request);
  const auto session = request.query.find("session");
  const auto key = session == request.query.end() ? std::nullopt : std::optional(session->second);
  return jsonResponse({{"id", id}, {"ended", store_->end(id, key)}});
}

HttpResponse Service::health(const HttpRequest&) {
  const bool works = health_.isGood();
  return jsonResponse({{"status", works ? "ok" : "degraded"}, {"store", works ? "ok" : "failing"}});
}

HttpResponse Service::showMetrics(const HttpRequest&) {
  std::string text = router_.metrics();
  const StoreCounts held = store_->counts();
  text += metric("audiomatch_channels", "gauge", "Channels on air.",
                 static_cast<double>(held.channels));
  text += metric("audiomatch_channel_attributes", "gauge", "Attributes of these.",
                 static_cast<double>(held.attributes));
  text +=
      metric("audiomatch_references", "gauge", "References.", static_cast<double>(held.references));
  text += metric("audiomatch_reference_entries", "gauge", "Entries of these.",
                 static_cast<double>(held.entries));
  text += metric("audiomatch_store_bytes", "gauge", "Bytes of the store in use.",
                 static_cast<double>(held.bytes));
  text += metric("audiomatch_store_errors_total", "counter", "Times that the store failed.",
                 static_cast<double>(health_.failures()));
  if (const HttpServer* server = server_) {
    const HttpCounts counts = server->counts();
    text += metric("audiomatch_connections", "gauge", "Connections that are open.",
                   static_cast<double>(counts.connections));
    text += metric("audiomatch_refused_total", "counter",
                   "Connections and requests refused for want of room.",
                   static_cast<double>(counts.refused));
  }
  return {.type = "text/plain; version=0.0.4", .body = std::move(text), .headers = {}};
}

}  // namespace audiomatch
