#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "tool/service/http_message.h"

namespace audiomatch {

/// What a client can take of a server.
struct HttpLimits {
  std::size_t header = 16 << 10;  ///< bytes of a request's head
  std::size_t body = 64 << 20;    ///< bytes of a request's body
  /// Bytes that have come of all bodies at one time, by lane.
  std::array<std::size_t, kHttpLanes> bodies = {std::size_t{512} << 20, std::size_t{64} << 20,
                                                std::size_t{256} << 20};
  std::size_t connections = 1024;
  std::size_t waiting = 256;          ///< requests of a lane that wait for a worker
  std::chrono::seconds idle{60};      ///< between requests of a connection
  std::chrono::seconds head{10};      ///< for a request's head, from its first byte on
  std::chrono::seconds farewell{2};   ///< for what a refused client still sends
  std::chrono::seconds transfer{60};  ///< for a body, and for an answer
  std::chrono::seconds pause{10};     ///< within a body
  std::chrono::seconds ending{5};     ///< at the end, for whatever a client sends or reads
};

/// Counts of a server, for whoever watches it.
struct HttpCounts {
  std::size_t connections;  ///< open now
  std::uint64_t refused;    ///< connections and requests refused for want of room, so far
};

/// What is wrong with an address that a server is to listen on; empty for nothing.
std::string problemOfAddress(const std::string& address);

/// An HTTP/1.1 server. One thread speaks with all clients, so that a slow or
/// silent one takes none; others work out the answers.
class HttpServer {
 public:
  /// Binds and listens at once. Throws FileError, with the address as its file,
  /// when the address can't be had, and std::system_error when there can't be so many
  /// threads.
  ///
  /// @param address  "HOST:PORT", a numeric host, IPv6 in brackets, or localhost, which is
  ///                 127.0.0.1; port 0 is any free one
  /// @param workers  threads that answer requests of a lane
  HttpServer(const std::string& address, unsigned workers, const HttpLimits& limits,
             HttpHandler handler);
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;
  ~HttpServer();

  /// Where it listens, "HOST:PORT" with the port that it has got.
  std::string address() const;

  /// Whether only this machine reaches it.
  bool isLocal() const;

  /// Serves until `stop`, and then until what is under way is answered.
  void run();

  /// Ends `run`; any thread.
  void stop();

  /// As of now; any thread.
  HttpCounts counts() const noexcept;

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace audiomatch
