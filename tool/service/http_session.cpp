#include "tool/service/http_session.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <new>
#include <string_view>
#include <utility>

namespace audiomatch {
namespace {

namespace http = boost::beast::http;

constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
constexpr std::size_t kPassedOver = std::size_t{64} << 10;

std::string textOf(boost::beast::string_view text) { return {text.data(), text.size()}; }

/// The request as far as its head tells it. False when its target makes no sense.
template <typename Message>
bool readRequestHead(const Message& message, HttpRequest& request) {
  request = {};
  request.method = textOf(message.method_string());
  request.authorization = textOf(message[http::field::authorization]);
  const std::string type = textOf(message[http::field::content_type]);
  request.type = boost::algorithm::to_lower_copy(type.substr(0, type.find(';')));
  while (!request.type.empty() && request.type.back() == ' ') request.type.pop_back();
  return parseTarget(textOf(message.target()), request);
}

}  // namespace

HttpSession::HttpSession(boost::asio::ip::tcp::socket socket, std::shared_ptr<HttpShared> shared)
    : shared_(std::move(shared)), stream_(std::move(socket)) {
  ++shared_->connections;
}

HttpSession::~HttpSession() {
  leaveRoom();
  --shared_->connections;
}

void HttpSession::finish() {
  if (!is_busy_) close();
}

void HttpSession::turnAway() {
  ++shared_->refused;
  is_busy_ = true;
  stream_.expires_after(shared_->limits.head);
  refuse(503, "too many connections; try again later");
}

/// Waits for the first byte of a request, which may take longer than its rest.
void HttpSession::awaitRequest() {
  is_busy_ = false;
  if (shared_->is_stopping) return close();
  if (buffer_.size() > 0) return readHead();
  stream_.expires_after(shared_->limits.idle);
  stream_.async_read_some(buffer_.prepare(4096),
                          [self = shared_from_this()](Error error, std::size_t bytes) {
                            if (error) return self->close();
                            self->buffer_.commit(bytes);
                            self->readHead();
                          });
}

void HttpSession::readHead() {
  is_busy_ = true;
  request_ = {};
  parser_.emplace();
  parser_->header_limit(static_cast<std::uint32_t>(shared_->limits.header));
  parser_->body_limit(shared_->limits.body);
  stream_.expires_after(shared_->limits.head);
  http::async_read_header(
      stream_, buffer_, *parser_,
      [self = shared_from_this()](Error error, std::size_t) { self->onHead(error); });
}

void HttpSession::onHead(Error error) {
  if (error == http::error::end_of_stream) return close();
  if (error == boost::beast::error::timeout) return close();
  if (error == http::error::header_limit) return refuse(431, "the request's head is too long");
  if (error == http::error::body_limit) return refuse(413, "the body is too long");
  if (error) return refuse(400, "not an HTTP request");
  if (!readRequestHead(parser_->get(), request_)) return refuse(400, "the address makes no sense");
  if (parser_->chunked()) return refuse(411, "the body's length must be given (Content-Length)");
  request_.length = parser_->content_length().value_or(0);
  if (auto refusal = shared_->handler.admit(request_)) {
    // What is left of its body would be taken for a request.
    return write(std::move(*refusal), parser_->keep_alive() && request_.length == 0);
  }
  if (!takeRoom()) {
    ++shared_->refused;
    return refuse(503, "too much is being sent at this time; try again later");
  }
  readBody();
}

bool HttpSession::takeRoom() {
  if (shared_->body_bytes + request_.length > shared_->limits.bodies) return false;
  room_ = request_.length;
  shared_->body_bytes += room_;
  return true;
}

void HttpSession::leaveRoom() noexcept {
  // A worker may be the last to let go of a session, whose room has been left by then.
  if (room_ == 0) return;
  shared_->body_bytes -= room_;
  room_ = 0;
}

void HttpSession::readBody() {
  stream_.expires_after(shared_->limits.transfer);
  const auto read = [self = shared_from_this()](Error error, std::size_t) {
    if (error) return self->close();
    http::async_read(self->stream_, self->buffer_, *self->parser_,
                     [self](Error failure, std::size_t) { self->onBody(failure); });
  };
  if (!boost::beast::iequals(parser_->get()[http::field::expect], "100-continue")) {
    return read({}, 0);
  }
  boost::asio::async_write(stream_, boost::asio::buffer(kContinue), read);
}

void HttpSession::onBody(Error error) {
  // A client that went away or dawdled wouldn't hear an answer.
  if (error) return close();
  request_.body = std::move(parser_->get().body());
  stream_.expires_never();
  // Nothing is asked of the system meanwhile that would keep the server going.
  const auto going = boost::asio::make_work_guard(stream_.get_executor());
  if (!shared_->workers->post([self = shared_from_this(), going] { self->work(); })) {
    ++shared_->refused;
    write(shared_->handler.refuse(503, "too many requests wait; try again later"),
          parser_->keep_alive());
  }
}

/// On a worker's thread: nothing of the connection is touched but the request.
void HttpSession::work() {
  HttpResponse response;
  try {
    response = shared_->handler.answer(request_);
  } catch (const std::bad_alloc&) {
    response = shared_->handler.refuse(503, "out of memory; try again later");
  }
  boost::asio::post(stream_.get_executor(),
                    [self = shared_from_this(), answer = std::move(response)]() mutable {
                      self->write(std::move(answer), self->parser_->keep_alive());
                    });
}

void HttpSession::refuse(unsigned status, const std::string& reason) {
  write(shared_->handler.refuse(status, reason), false);
}

void HttpSession::write(HttpResponse response, bool keep_alive) {
  request_.body.clear();
  request_.body.shrink_to_fit();
  leaveRoom();
  keep_alive = keep_alive && !shared_->is_stopping;
  response_ = {};
  response_.result(response.status);
  response_.version(11);
  response_.set(http::field::content_type, response.type);
  for (const auto& [name, value] : response.headers) response_.set(name, value);
  response_.keep_alive(keep_alive);
  const bool is_head = request_.method == "HEAD";
  const std::size_t length = response.body.size();
  if (!is_head) response_.body() = std::move(response.body);
  response_.content_length(length);
  stream_.expires_after(shared_->limits.transfer);
  http::async_write(stream_, response_,
                    [self = shared_from_this(), keep_alive](Error error, std::size_t) {
                      self->onWritten(error, keep_alive);
                    });
}

void HttpSession::onWritten(Error error, bool keep_alive) {
  if (error) return close();
  if (!keep_alive) return bidFarewell();
  parser_.reset();
  awaitRequest();
}

/// Closes when the client has, or after a while. What it is still sending is passed
/// over: a connection that is closed on unread bytes is reset, and the client may
/// never see its answer.
void HttpSession::bidFarewell() {
  Error ignored;
  stream_.socket().shutdown(boost::asio::ip::tcp::socket::shutdown_send, ignored);
  stream_.expires_after(shared_->limits.farewell);
  passOver();
}

void HttpSession::passOver() {
  buffer_.clear();
  stream_.async_read_some(buffer_.prepare(kPassedOver),
                          [self = shared_from_this()](Error error, std::size_t) {
                            error ? self->close() : self->passOver();
                          });
}

void HttpSession::close() { stream_.close(); }

}  // namespace audiomatch
