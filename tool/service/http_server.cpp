#include "tool/service/http_server.h"

#include <fmt/core.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <charconv>
#include <deque>
#include <exception>
#include <system_error>
#include <thread>
#include <utility>

#include "tool/base/errors.h"
#include "tool/output/messages.h"
#include "tool/service/http_session.h"

namespace audiomatch {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using Error = boost::system::error_code;

// Before another connection is tried when the system has no descriptor or memory left.
constexpr std::chrono::milliseconds kRest{50};

constexpr const char* kWanted = "; give HOST:PORT with a numeric HOST, such as 127.0.0.1:8080";

/// "HOST:PORT" or "[HOST]:PORT". Throws FileError.
tcp::endpoint parseEndpoint(const std::string& address) {
  const std::size_t colon = address.rfind(':');
  std::uint16_t port = 0;
  const char* end = address.data() + address.size();
  const char* begin = colon == std::string::npos ? end : address.data() + colon + 1;
  const auto [stop, failure] = std::from_chars(begin, end, port);
  if (begin == end || failure != std::errc() || stop != end) {
    throw FileError(address, std::string("has no port from 0 to 65535") + kWanted);
  }
  std::string host = address.substr(0, colon);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  }
  if (host == "localhost") host = "127.0.0.1";
  Error error;
  const auto ip = asio::ip::make_address(host, error);
  if (error) throw FileError(address, std::string("has no numeric host") + kWanted);
  return {ip, port};
}

std::string textOf(const tcp::endpoint& endpoint) {
  const std::string host = endpoint.address().to_string();
  return endpoint.address().is_v6() ? fmt::format("[{}]:{}", host, endpoint.port())
                                    : fmt::format("{}:{}", host, endpoint.port());
}

}  // namespace

std::string problemOfAddress(const std::string& address) try {
  parseEndpoint(address);
  return {};
} catch (const FileError& error) {
  return error.what();
}

class HttpServer::Impl {
 public:
  Impl(const std::string& address, unsigned workers, const HttpLimits& limits, HttpHandler handler)
      : shared_(std::make_shared<HttpShared>(limits, std::move(handler))),
        acceptor_(context_),
        rest_(context_) {
    for (WorkerPool*& pool : shared_->workers) {
      pool = &workers_.emplace_back(workers, limits.waiting);
    }
    try {
      const tcp::endpoint endpoint = parseEndpoint(address);
      acceptor_.open(endpoint.protocol());
      acceptor_.set_option(tcp::acceptor::reuse_address(true));
      acceptor_.bind(endpoint);
      acceptor_.listen();
    } catch (const boost::system::system_error& error) {
      throw FileError(address, "can't listen there: " + error.code().message());
    }
  }

  std::string address() const { return textOf(acceptor_.local_endpoint()); }

  bool isLocal() const { return acceptor_.local_endpoint().address().is_loopback(); }

  void run() {
    while (!runSome()) std::this_thread::sleep_for(kRest);
  }

  void stop() {
    asio::post(context_, [this] {
      shared_->is_stopping = true;
      Error ignored;
      acceptor_.close(ignored);
      rest_.cancel();
      for (const auto& each : shared_->sessions) {
        if (const auto session = each.lock()) session->finish();
      }
    });
  }

  HttpCounts counts() const noexcept { return {shared_->connections, shared_->refused}; }

 private:
  /// True when all is done. What fails for want of memory costs one connection.
  bool runSome() try {
    if (!is_waiting_ && !shared_->is_stopping) accept();
    context_.run();
    return true;
  } catch (const std::exception& error) {
    report(fmt::format("a connection was given up: {}", error.what()));
    return false;
  }

  void accept() {
    acceptor_.async_accept([this](Error error, tcp::socket socket) {
      is_waiting_ = false;
      if (shared_->is_stopping) return;
      if (error) return rest();
      // First, since it goes on whatever becomes of this one.
      accept();
      welcome(std::move(socket));
    });
    is_waiting_ = true;
  }

  void rest() {
    rest_.expires_after(kRest);
    rest_.async_wait([this](Error cancelled) {
      is_waiting_ = false;
      if (!cancelled) accept();
    });
    is_waiting_ = true;
  }

  void welcome(tcp::socket socket) {
    Error ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    shared_->sessions.remove_if([](const auto& session) { return session.expired(); });
    // Too many even to be told so.
    if (shared_->connections >= 2 * shared_->limits.connections) {
      ++shared_->refused;
      return;
    }
    const bool has_room = shared_->connections < shared_->limits.connections;
    const auto session = std::make_shared<HttpSession>(std::move(socket), shared_);
    shared_->sessions.push_back(session);
    if (has_room) return session->start();
    session->turnAway();
  }

  std::shared_ptr<HttpShared> shared_;
  asio::io_context context_{1};
  std::deque<WorkerPool> workers_;  // by lane
  tcp::acceptor acceptor_;
  asio::steady_timer rest_;
  bool is_waiting_ = false;  // for a connection, or to wait for one
};

HttpServer::HttpServer(const std::string& address, unsigned workers, const HttpLimits& limits,
                       HttpHandler handler)
    : impl_(std::make_unique<Impl>(address, workers, limits, std::move(handler))) {}

HttpServer::~HttpServer() = default;

std::string HttpServer::address() const { return impl_->address(); }

bool HttpServer::isLocal() const { return impl_->isLocal(); }

void HttpServer::run() { impl_->run(); }

void HttpServer::stop() { impl_->stop(); }

HttpCounts HttpServer::counts() const noexcept { return impl_->counts(); }

}  // namespace audiomatch
