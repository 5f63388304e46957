#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace audiomatch {

/// What a client asks, as far as the service is concerned with it.
struct HttpRequest {
  std::string method;                        ///< "GET" and so on
  std::string path;                          ///< decoded, from the first slash on
  std::map<std::string, std::string> query;  ///< decoded; of equal names the last
  std::string type;                          ///< of the body, without parameters, in lower case
  std::string authorization;
  std::string if_none_match;
  std::string origin;      ///< of the page that a browser sends it for; else empty
  std::string host;        ///< as the client knows the server, with its port
  bool is_local = false;   ///< only this machine can have sent it
  std::size_t length = 0;  ///< of the body in bytes
  std::string body;
};

/// What it is answered.
struct HttpResponse {
  unsigned status = 200;
  std::string type = "application/json";
  std::string body;
  std::map<std::string, std::string> headers;  ///< beside those on body and connection
};

/// Kinds of requests that don't get into each other's way: each has its own share of
/// what a server has room for, and threads of its own that answer it.
enum class HttpLane : std::size_t {
  kQuestions,
  kMessages,  ///< of listeners
  kPatient,   ///< those that take long, or wait for what is away
};
inline constexpr std::size_t kHttpLanes = 3;

/// What becomes of a request whose head has come.
struct HttpAdmission {
  std::optional<HttpResponse> answer;  ///< that it gets at once; its body isn't read
  HttpLane lane = HttpLane::kQuestions;
};

/// Answers requests. The functions are called on any thread, and throw nothing
/// but std::bad_alloc.
struct HttpHandler {
  /// Looks at a request before its body is read. Must be quick, as other clients wait
  /// for it meanwhile.
  std::function<HttpAdmission(const HttpRequest&)> admit;
  /// Answers a whole request.
  std::function<HttpResponse(const HttpRequest&)> answer;
  /// Words a refusal of the server's own: too large, too slow, too many.
  std::function<HttpResponse(unsigned status, const std::string& reason)> refuse;
};

/// Takes a request's target apart: path and query, which a scheme and a host may come
/// before. False when it isn't well-formed.
bool parseTarget(const std::string& target, HttpRequest& request);

}  // namespace audiomatch
