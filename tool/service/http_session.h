#pragma once

#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "tool/service/http_server.h"
#include "tool/service/worker_pool.h"

namespace audiomatch {

class HttpSession;

/// What all connections of a server share. The server's thread only, but for
/// the atomics.
struct HttpShared {
  HttpShared(const HttpLimits& given, HttpHandler answers)
      : limits(given), handler(std::move(answers)) {}

  const HttpLimits limits;
  const HttpHandler handler;
  WorkerPool* workers = nullptr;
  std::list<std::weak_ptr<HttpSession>> sessions;
  std::size_t body_bytes = 0;  // of all requests at this time
  bool is_stopping = false;
  std::atomic<std::size_t> connections = 0;
  std::atomic<std::uint64_t> refused = 0;
};

/// One connection of a client: its requests, one after the other.
///
/// It keeps itself alive while something is asked of the system in its name.
class HttpSession : public std::enable_shared_from_this<HttpSession> {
 public:
  HttpSession(boost::asio::ip::tcp::socket socket, std::shared_ptr<HttpShared> shared);
  HttpSession(const HttpSession&) = delete;
  HttpSession& operator=(const HttpSession&) = delete;
  ~HttpSession();

  /// Reads the first request.
  void start() { awaitRequest(); }
  /// Closes the connection unless a request is under way, which is then its last.
  void finish();
  /// Answers that there is no room, and closes.
  void turnAway();

 private:
  using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;
  using Error = boost::beast::error_code;

  void awaitRequest();
  void readHead();
  void onHead(Error error);
  bool takeRoom();
  void leaveRoom() noexcept;
  void readBody();
  void onBody(Error error);
  void work();
  void refuse(unsigned status, const std::string& reason);
  void write(HttpResponse response, bool keep_alive);
  void onWritten(Error error, bool keep_alive);
  void bidFarewell();
  void passOver();
  void close();

  std::shared_ptr<HttpShared> shared_;
  boost::beast::tcp_stream stream_;
  boost::beast::flat_buffer buffer_;
  std::optional<Parser> parser_;
  HttpRequest request_;
  boost::beast::http::response<boost::beast::http::string_body> response_;
  std::size_t room_ = 0;  // taken of the server's for a body
  bool is_busy_ = false;  // a request is under way
};

}  // namespace audiomatch
