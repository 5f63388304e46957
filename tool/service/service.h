#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

#include "tool/service/channel_message.h"
#include "tool/service/http_server.h"
#include "tool/service/router.h"
#include "tool/service/store_health.h"
#include "tool/store/store.h"

namespace audiomatch {

/// Answers what is playing: on which reference of a store, and on which live
/// channel, a recording was heard. Any thread.
class Service {
 public:
  /// Throws FileError as readToken does.
  Service(std::unique_ptr<Store> store, const Thresholds& thresholds, const AccessFiles& access);

  /// The functions that a server needs. This object outlives it.
  HttpHandler handler() { return router_.handler(); }

  /// Ends the channels that nobody listens to any more. To be called every second or so.
  void tidy() noexcept;

  /// From now on nothing waits long for a store that is away. Any thread.
  void hurry() noexcept { store_->hurry(); }

  /// Whose counts /metrics shows; null for none. It outlives this object, or is
  /// taken away before.
  void watch(const HttpServer* server) { server_ = server; }

 private:
  using Answering = HttpResponse (Service::*)(const HttpRequest&);

  std::vector<Route> routes();
  HttpResponse tryTo(Answering answering, StoreUse use, const HttpRequest& request);

  HttpResponse recognise(const HttpRequest& request);
  HttpResponse listReferences(const HttpRequest& request);
  HttpResponse addReference(const HttpRequest& request);
  HttpResponse removeReference(const HttpRequest& request);
  HttpResponse listChannels(const HttpRequest& request);
  HttpResponse takeAnalyses(const HttpRequest& request);
  HttpResponse endChannel(const HttpRequest& request);
  HttpResponse health(const HttpRequest& request);
  HttpResponse showMetrics(const HttpRequest& request);

  void take(std::uint32_t id, const ChannelSession& session, ChannelMessage::Analysis analysis);

  std::unique_ptr<Store> store_;
  Thresholds thresholds_;
  Router router_;
  StoreHealth health_;
  std::atomic<const HttpServer*> server_ = nullptr;
  std::mutex adding_;  // held while a reference is analysed, which takes memory
};

}  // namespace audiomatch
