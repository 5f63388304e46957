#include "tool/service/service.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <utility>

#include "tool/output/messages.h"
#include "tool/service/answers.h"
#include "tool/service/channel_message.h"
#include "tool/service/http_error.h"
#include "tool/service/question.h"

namespace audiomatch {
namespace {

using Json = nlohmann::ordered_json;

// JSON takes many times its size in memory.
constexpr std::size_t kLargestJson = std::size_t{4} << 20;
constexpr std::size_t kMostChannels = 10'000;
constexpr std::string_view kChannelPath = "/v1/channels/";

// The engine's audio indices are signed.
constexpr std::uint32_t kHighestChannel = INT32_MAX;

/// The identifier behind "/v1/channels/". Throws HttpError.
std::uint32_t channelOf(const HttpRequest& request) {
  const std::string text = request.path.substr(kChannelPath.size());
  std::uint32_t id = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, id);
  if (text.empty() || error != std::errc() || stop != end || id > kHighestChannel) {
    throw HttpError(404, fmt::format("a channel's number is from 0 to {}", kHighestChannel));
  }
  return id;
}

}  // namespace

/// Something that can be asked for.
struct Service::Route {
  const char* method;
  const char* path;  // one that ends in / goes on with a name
  bool changes;      // rather than reads
  std::size_t largest;
  HttpResponse (Service::*answer)(const HttpRequest&);
};

const std::vector<Service::Route>& Service::routes() {
  static const std::vector<Route> all = {
      {"POST", "/v1/recognise", false, kLargestQuestion, &Service::recognise},
      {"GET", "/v1/references", false, 0, &Service::listReferences},
      {"GET", "/v1/channels", false, 0, &Service::listChannels},
      {"POST", kChannelPath.data(), true, kLargestMessage, &Service::takeAnalyses},
      {"DELETE", kChannelPath.data(), true, 0, &Service::endChannel},
      {"GET", "/healthz", false, 0, &Service::health},
      {"GET", "/metrics", false, 0, &Service::showMetrics},
  };
  return all;
}

Service::Service(std::unique_ptr<const ReferenceDatabase> references, const Thresholds& thresholds,
                 const AccessFiles& access)
    : references_(std::move(references)),
      thresholds_(thresholds),
      access_(access),
      channels_(thresholds) {}

HttpHandler Service::handler() {
  return {.admit = [this](const HttpRequest& request) { return admit(request); },
          .answer = [this](const HttpRequest& request) { return answer(request); },
          .refuse = errorResponse};
}

void Service::endSilentChannels() {
  for (const std::string& name : channels_.endSilent()) note(name + ": nobody listens any more");
}

/// The route that a request takes; with `any_method`, one of its path.
const Service::Route* Service::find(const HttpRequest& request, bool any_method) const {
  const std::string method = request.method == "HEAD" ? "GET" : request.method;
  for (const Route& route : routes()) {
    const std::string_view path = route.path;
    const bool fits = path.ends_with('/') ? request.path.starts_with(path) : request.path == path;
    if (fits && (any_method || method == route.method)) return &route;
  }
  return nullptr;
}

std::optional<HttpResponse> Service::admit(const HttpRequest& request) const {
  const Route* route = find(request, false);
  if (!route) {
    return find(request, true) ? errorResponse(405, "not a method of this address")
                               : errorResponse(404, "there is nothing at this address");
  }
  // Whether it is alive is no secret, and asked by those who have no token.
  const bool is_open = route->path == std::string_view("/healthz");
  const bool may = route->changes ? access_.mayChange(request.authorization)
                                  : is_open || access_.mayRead(request.authorization);
  if (!may) return errorResponse(401, "needs a token: Authorization: Bearer TOKEN");
  const std::size_t most =
      request.type == "application/json" ? std::min(route->largest, kLargestJson) : route->largest;
  if (request.length > most) {
    return errorResponse(413, fmt::format("the body has more than {} bytes", most));
  }
  return {};
}

HttpResponse Service::answer(const HttpRequest& request) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  const Route& route = *find(request, false);
  HttpResponse response;
  try {
    response = (this->*route.answer)(request);
  } catch (const HttpError& error) {
    response = errorResponse(error.status(), error.what());
  } catch (const std::bad_alloc&) {
    response = errorResponse(503, "out of memory; try again later");
  } catch (const std::exception& error) {
    report(error.what());
    response = errorResponse(500, "failed; the server's messages tell why");
  }
  metrics_.answered(route.path, response.status,
                    std::chrono::duration<double>(Clock::now() - start).count());
  return response;
}

std::unique_ptr<Recogniser> Service::takeRecogniser() {
  const std::lock_guard lock(mutex_);
  if (idle_.empty()) return std::make_unique<Recogniser>(*references_, thresholds_);
  std::unique_ptr<Recogniser> recogniser = std::move(idle_.back());
  idle_.pop_back();
  return recogniser;
}

void Service::giveBack(std::unique_ptr<Recogniser> recogniser) {
  const std::lock_guard lock(mutex_);
  idle_.push_back(std::move(recogniser));
}

HttpResponse Service::recognise(const HttpRequest& request) {
  const Question question = readQuestion(request);
  Json references;
  Json channels;
  bool recognised = false;
  if (references_ && !question.features.empty()) {
    std::unique_ptr<Recogniser> recogniser = takeRecogniser();
    const Answer found = recogniser->recognise(question.features);
    giveBack(std::move(recogniser));
    recognised = found.verdict.recognised;
    references = asJson(found);
  }
  if (!question.features.empty()) {
    const ChannelAnswer found = channels_.find(question.features);
    recognised = recognised || found.recognised;
    channels = asJson(found);
  }
  return jsonResponse({{"kind", kindOf(question, recognised)},
                       {"features", question.features.size()},
                       {"seconds", question.seconds},
                       {"damaged", question.damage ? Json(question.damage->text) : Json()},
                       {"references", references},
                       {"channels", channels}});
}

HttpResponse Service::listReferences(const HttpRequest&) {
  auto list = Json::array();
  if (references_) {
    const auto names = references_->names();
    const auto count = static_cast<std::int32_t>(names->audioCount());
    for (std::int32_t audio = 0; audio < count; ++audio) {
      const bool goes_on = names->recording(audio) != audio;
      if (goes_on) {
        list.back()["parts"] = list.back()["parts"].get<int>() + 1;
      } else {
        list.push_back({{"name", names->name(audio)}, {"parts", 1}});
      }
    }
  }
  return jsonResponse({{"references", std::move(list)}});
}

HttpResponse Service::listChannels(const HttpRequest&) {
  auto list = Json::array();
  for (const ChannelStatus& channel : channels_.list()) list.push_back(asJson(channel));
  return jsonResponse({{"channels", std::move(list)}});
}

HttpResponse Service::takeAnalyses(const HttpRequest& request) {
  const std::uint32_t id = channelOf(request);
  ChannelMessage message = decodeMessage(request.body);
  if (channels_.count() >= kMostChannels && !channels_.has(id)) {
    throw HttpError(503,
                    fmt::format("{} channels are on air, the most there can be", kMostChannels));
  }
  for (ChannelMessage::Analysis& analysis : message.analyses) {
    if (channels_.apply(id, message.session, analysis.number, std::move(analysis.attributes))) {
      note(message.session.name + ": on air");
    }
  }
  return jsonResponse({{"id", id}, {"analyses", message.analyses.size()}});
}

HttpResponse Service::endChannel(const HttpRequest& request) {
  const std::uint32_t id = channelOf(request);
  return jsonResponse({{"id", id}, {"ended", channels_.end(id)}});
}

HttpResponse Service::health(const HttpRequest&) { return jsonResponse({{"status", "ok"}}); }

HttpResponse Service::showMetrics(const HttpRequest&) {
  std::string text = metrics_.text();
  std::size_t attributes = 0;
  const std::vector<ChannelStatus> channels = channels_.list();
  for (const ChannelStatus& channel : channels) attributes += channel.attributes;
  text += metric("audiomatch_channels", "gauge", "Channels on air.",
                 static_cast<double>(channels.size()));
  text += metric("audiomatch_channel_attributes", "gauge", "Attributes of these.",
                 static_cast<double>(attributes));
  text += metric("audiomatch_reference_audios", "gauge", "Audios of the database.",
                 references_ ? static_cast<double>(references_->names()->audioCount()) : 0.0);
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
