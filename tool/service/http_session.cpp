#include "tool/service/http_session.h"

#include <algorithm>
#include <boost/algorithm/string/case_conv.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>
#include <exception>
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
  request.if_none_match = textOf(message[http::field::if_none_match]);
  request.origin = textOf(message[http::field::origin]);
  request.host = textOf(message[http::field::host]);
  const std::string type = textOf(message[http::field::content_type]);
  request.type = boost::algorithm::to_lower_copy(type.substr(0, type.find(';')));
  while (!request.type.empty() && request.type.back() == ' ') request.type.pop_back();
  return parseTarget(textOf(message.target()), request);
}

}  // namespace

HttpSession::HttpSession(boost::asio::ip::tcp::socket socket, std::shared_ptr<HttpShared> shared)
    : shared_(std::move(shared)), stream_(std::move(socket)), ending_(stream_.get_executor()) {
  ++shared_->connections;
}

HttpSession::~HttpSession() {
  leaveRoom();
  --shared_->connections;
}

void HttpSession::finish() {
  if (step_ == Step::kIdle) return close();
  ending_.expires_after(shared_->limits.ending);
  ending_.async_wait([weak = weak_from_this()](Error error) {
    const auto self = weak.lock();
    if (!error && self && self->step_ != Step::kWorking) self->close();
  });
}

void HttpSession::turnAway() {
  ++shared_->refused;
  refuse(503, "too many connections; try again later");
}

/// Waits for the first byte of a request, which may take longer than its rest.
void HttpSession::awaitRequest() {
  step_ = Step::kIdle;
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
  step_ = Step::kReading;
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
  Error unknown;
  request_.is_local = stream_.socket().local_endpoint(unknown).address().is_loopback();
  // Whatever it is, it would tell the body's length otherwise than Content-Length.
  if (parser_->get().count(http::field::transfer_encoding) > 0) {
    return refuse(411, "the body's length must be given (Content-Length)");
  }
  request_.length = parser_->content_length().value_or(0);
  HttpAdmission admission = shared_->handler.admit(request_);
  // What is left of its body would be taken for a request.
  const bool keep_alive = parser_->keep_alive() && request_.length == 0;
  if (admission.answer) return write(*std::move(admission.answer), keep_alive);
  lane_ = admission.lane;
  readBody();
}

/// Counts what has come of a body, since what is announced may never come. False when there is
/// no room for it.
bool HttpSession::takeRoom(std::size_t size) {
  const auto lane = static_cast<std::size_t>(lane_);
  const std::size_t more = size - room_;
  room_ = size;
  return shared_->body_bytes[lane].fetch_add(more) + more <= shared_->limits.bodies[lane];
}

void HttpSession::leaveRoom() noexcept {
  shared_->body_bytes[static_cast<std::size_t>(lane_)] -= room_;
  room_ = 0;
}

void HttpSession::readBody() {
  body_due_ = Clock::now() + shared_->limits.transfer;
  const bool waits = parser_->get().version() >= 11 &&
                     boost::beast::iequals(parser_->get()[http::field::expect], "100-continue");
  if (!waits) return readPiece();
  stream_.expires_after(shared_->limits.transfer);
  boost::asio::async_write(stream_, boost::asio::buffer(kContinue),
                           [self = shared_from_this()](Error error, std::size_t) {
                             error ? self->close() : self->readPiece();
                           });
}

void HttpSession::readPiece() {
  if (parser_->is_done()) return onBody();
  const Clock::duration left = body_due_ - Clock::now();
  stream_.expires_after(std::min<Clock::duration>(left, shared_->limits.pause));
  http::async_read_some(
      stream_, buffer_, *parser_,
      [self = shared_from_this()](Error error, std::size_t) { self->onPiece(error); });
}

void HttpSession::onPiece(Error error) {
  // A client that went away or dawdled wouldn't hear an answer.
  if (error) return close();
  if (takeRoom(parser_->get().body().size())) return readPiece();
  ++shared_->refused;
  refuse(503, "too much is being sent at this time; try again later");
}

void HttpSession::onBody() {
  request_.body = std::move(parser_->get().body());
  step_ = Step::kWorking;
  stream_.expires_never();
  // Nothing is asked of the system meanwhile that would keep the server going.
  const auto going = boost::asio::make_work_guard(stream_.get_executor());
  WorkerPool& workers = *shared_->workers[static_cast<std::size_t>(lane_)];
  if (!workers.post([self = shared_from_this(), going] { self->work(); })) {
    ++shared_->refused;
    write(shared_->handler.refuse(503, "too many requests wait; try again later"),
          parser_->keep_alive());
  }
}

/// On a worker's thread: nothing of the connection is touched but the request.
void HttpSession::work() noexcept {
  try {
    boost::asio::post(stream_.get_executor(),
                      [self = shared_from_this(), response = answer()]() mutable {
                        self->write(std::move(response), self->parser_->keep_alive());
                      });
  } catch (const std::exception&) {
    // Out of memory even to say so: nobody holds the connection any more, which ends it.
  }
}

HttpResponse HttpSession::answer() const {
  try {
    return shared_->handler.answer(request_);
  } catch (const std::bad_alloc&) {
    return shared_->handler.refuse(503, "out of memory; try again later");
  }
}

void HttpSession::refuse(unsigned status, const std::string& reason) {
  write(shared_->handler.refuse(status, reason), false);
}

void HttpSession::write(HttpResponse response, bool keep_alive) {
  step_ = Step::kWriting;
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
  // What isn't sent has its length told all the same.
  const bool is_bare = request_.method == "HEAD" || response.status == 304;
  const std::size_t length = response.body.size();
  if (!is_bare) response_.body() = std::move(response.body);
  response_.content_length(length);
  const HttpLimits& limits = shared_->limits;
  stream_.expires_after(shared_->is_stopping ? limits.ending : limits.transfer);
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
