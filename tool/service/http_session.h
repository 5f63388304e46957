#pragma once

#include <array>
#include <atomic>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <chrono>
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
  std::array<WorkerPool*, kHttpLanes> workers{};
  std::list<std::weak_ptr<HttpSession>> sessions;
  // That have come and not gone, by lane. A worker may be the last to let go of a session.
  std::array<std::atomic<std::size_t>, kHttpLanes> body_bytes{};
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
  /// Closes the connection unless a request is under way, which is then its last and
  /// must be quick, but for its answer's being worked out.
  void finish();
  /// Answers that there is no room, and closes.
  void turnAway();

 private:
  using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;
  using Error = boost::beast::error_code;
  using Clock = std::chrono::steady_clock;

  enum class Step { kIdle, kReading, kWorking, kWriting };

  void awaitRequest();
  void readHead();
  void onHead(Error error);
  bool takeRoom(std::size_t size);
  void leaveRoom() noexcept;
  void readBody();
  void readPiece();
  void onPiece(Error error);
  void onBody();
  void work() noexcept;
  HttpResponse answer() const;
  void refuse(unsigned status, const std::string& reason);
  void write(HttpResponse response, bool keep_alive);
  void onWritten(Error error, bool keep_alive);
  void bidFarewell();
  void passOver();
  void close();

  std::shared_ptr<HttpShared> shared_;
  boost::beast::tcp_stream stream_;
  boost::asio::steady_timer ending_;
  boost::beast::flat_buffer buffer_;
  std::optional<Parser> parser_;
  HttpRequest request_;
  boost::beast::http::response<boost::beast::http::string_body> response_;
  HttpLane lane_ = HttpLane::kQuestions;
  std::size_t room_ = 0;  // taken of the lane's for a body
  Clock::time_point body_due_{};
  Step step_ = Step::kIdle;
};

}  // namespace audiomatch
