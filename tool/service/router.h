#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tool/service/access.h"
#include "tool/service/http_message.h"
#include "tool/service/metrics.h"

namespace audiomatch {

/// Something that can be asked for.
struct Route {
  /// Whose token it takes, where there are tokens.
  enum class Access { kAnybody, kReader, kChanger };

  const char* method;
  const char* path;  ///< one that ends in / goes on with a name, but for / itself
  Access access;
  std::size_t largest;  ///< bytes of its body
  /// May throw: HttpError for what its sender should know, std::length_error for what is
  /// too much of something.
  std::function<HttpResponse(const HttpRequest&)> answer;
  /// Names in the query that it understands; any, where anybody may ask or it is quick.
  std::vector<std::string_view> parameters{};
  HttpLane lane = HttpLane::kQuestions;
  bool is_quick = false;  ///< and is answered whatever else waits
};

/// Takes requests to what answers them, as far as their senders may ask, and counts them.
/// Any thread.
class Router {
 public:
  /// Throws FileError as readToken does.
  Router(std::vector<Route> routes, const AccessFiles& access);

  /// The functions that a server needs. This object outlives it.
  HttpHandler handler();

  /// What was asked so far, in Prometheus' text format.
  std::string metrics() const { return metrics_.text(); }

 private:
  const Route* find(const HttpRequest& request) const;
  HttpAdmission admit(const HttpRequest& request);
  std::optional<HttpResponse> refusal(const HttpRequest& request, const Route* route) const;
  HttpResponse refuseMethod(const HttpRequest& request) const;
  bool may(Route::Access access, const std::string& authorization) const;
  HttpResponse answer(const HttpRequest& request);

  std::vector<Route> routes_;
  Access access_;
  Metrics metrics_;
};

}  // namespace audiomatch
