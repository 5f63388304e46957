#pragma once

#include <atomic>
#include <chrono>
#include <string>

namespace audiomatch {

/// What a server answered.
struct HttpReply {
  unsigned status = 0;  ///< 0 when there was none
  std::string body;
  std::string problem;  ///< why there was none
};

/// What is wrong with the URL of a server, http://HOST[:PORT] or, if there is TLS, https://...;
/// empty for nothing.
std::string problemOfServer(const std::string& url);

/// Asks a server, by a connection that is kept. One thread at a time, but for `cancel`.
class HttpClient {
 public:
  /// @param token  sent as a bearer token; empty for none
  explicit HttpClient(std::string token);
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;
  ~HttpClient();

  /// Sends a request and waits for its answer, at most so long. `json` is its body; empty
  /// for none.
  HttpReply send(const std::string& method, const std::string& url, const std::string& json,
                 std::chrono::milliseconds patience);

  /// Ends a request that is under way, within a second, and all that follow; any thread.
  void cancel() noexcept { is_cancelled_ = true; }

 private:
  std::atomic<bool> is_cancelled_ = false;
  std::string token_;
  void* handle_;  // libcurl's
};

}  // namespace audiomatch
