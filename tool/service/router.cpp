#include "tool/service/router.h"

#include <fmt/format.h>

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <chrono>
#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "tool/output/display_text.h"
#include "tool/output/messages.h"
#include "tool/service/answers.h"
#include "tool/service/http_error.h"
#include "tool/service/json_body.h"

namespace audiomatch {
namespace {

/// False for what a browser sends for a page that isn't the server's.
bool isOwnPage(const HttpRequest& request) {
  if (request.origin.empty()) return true;
  const std::size_t scheme = request.origin.find("://");
  return scheme != std::string::npos && request.origin.substr(scheme + 3) == request.host;
}

/// Whether a request names the server as no page elsewhere can have a browser name it: names
/// may be made to lead here.
bool isNamedPlainly(const HttpRequest& request) {
  const std::string host = request.host.substr(0, request.host.rfind(':'));
  const bool is_numeric =
      host.starts_with('[') || host.find_first_not_of("0123456789.") == std::string::npos;
  return is_numeric || boost::algorithm::iequals(host, "localhost");
}

/// The first of a request's parameters that a route doesn't understand; nothing for none.
std::optional<std::string> unknownParameter(const Route& route, const HttpRequest& request) {
  if (route.access == Route::Access::kAnybody || route.is_quick) return {};
  for (const auto& [name, value] : request.query) {
    if (std::ranges::find(route.parameters, name) == route.parameters.end()) return name;
  }
  return {};
}

/// Whether a route has a request's path.
bool fits(const Route& route, const HttpRequest& request) {
  const std::string_view path = route.path;
  const bool goes_on = path.ends_with('/') && path.size() > 1;
  return goes_on ? request.path.starts_with(path) : request.path == path;
}

}  // namespace

Router::Router(std::vector<Route> routes, const AccessFiles& access)
    : routes_(std::move(routes)), access_(access) {}

HttpHandler Router::handler() {
  return {.admit = [this](const HttpRequest& request) { return admit(request); },
          .answer = [this](const HttpRequest& request) { return answer(request); },
          .refuse = errorResponse};
}

/// The route that a request takes; null when there is none.
const Route* Router::find(const HttpRequest& request) const {
  const std::string method = request.method == "HEAD" ? "GET" : request.method;
  for (const Route& route : routes_) {
    if (fits(route, request) && method == route.method) return &route;
  }
  return nullptr;
}

HttpAdmission Router::admit(const HttpRequest& request) {
  const Route* route = find(request);
  if (auto refused = refusal(request, route)) {
    metrics_.refused(route ? route->path : "none", refused->status);
    return {std::move(refused)};
  }
  if (route->is_quick) return {answer(request)};
  // What is asked to wait for what is away takes no other question's thread.
  return {{}, request.query.contains("wait") ? HttpLane::kPatient : route->lane};
}

/// The answer to a request of a path that there isn't, or not with this method.
HttpResponse Router::refuseMethod(const HttpRequest& request) const {
  std::string methods;
  for (const Route& route : routes_) {
    if (!fits(route, request)) continue;
    if (!methods.empty()) methods += ", ";
    methods += route.method;
    if (route.method == std::string_view("GET")) methods += ", HEAD";
  }
  if (methods.empty()) return errorResponse(404, "there is nothing at this address");
  HttpResponse response = errorResponse(405, "not a method of this address, which has " + methods);
  response.headers.emplace("Allow", methods);
  return response;
}

bool Router::may(Route::Access access, const std::string& authorization) const {
  switch (access) {
    case Route::Access::kAnybody:
      return true;
    case Route::Access::kReader:
      return access_.mayRead(authorization);
    case Route::Access::kChanger:
      break;
  }
  return access_.mayChange(authorization);
}

/// Why a request isn't let in; nothing when it is.
std::optional<HttpResponse> Router::refusal(const HttpRequest& request, const Route* route) const {
  if (!route) return refuseMethod(request);
  if (route->access == Route::Access::kChanger && !isOwnPage(request)) {
    return errorResponse(403, "a page of another site can't change anything");
  }
  if (route->access != Route::Access::kAnybody && request.is_local && !access_.hasTokens() &&
      !isNamedPlainly(request)) {
    return errorResponse(
        403,
        "without a token it answers to localhost and 127.0.0.1 only; start it with "
        "--token-file, or have a proxy send Host: localhost");
  }
  if (!may(route->access, request.authorization)) {
    return errorResponse(401, request.authorization.empty()
                                  ? "needs a token: Authorization: Bearer TOKEN"
                                  : "the token isn't the one that this needs");
  }
  if (const auto unknown = unknownParameter(*route, request)) {
    return errorResponse(
        400, fmt::format("no parameter of this address: {}; it has {}", printable(*unknown),
                         route->parameters.empty()
                             ? "none"
                             : fmt::to_string(fmt::join(route->parameters, ", "))));
  }
  const std::size_t most =
      request.type == "application/json" ? std::min(route->largest, kLargestJson) : route->largest;
  if (request.length > most) {
    return errorResponse(413, fmt::format("the body has more than {} bytes", most));
  }
  return {};
}

HttpResponse Router::answer(const HttpRequest& request) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  const Route& route = *find(request);
  HttpResponse response;
  try {
    response = route.answer(request);
  } catch (const HttpError& error) {
    response = errorResponse(error.status(), error.what());
  } catch (const std::length_error& error) {
    response = errorResponse(413, error.what());
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

}  // namespace audiomatch
