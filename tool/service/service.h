#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tool/recognition/live_channels.h"
#include "tool/recognition/recogniser.h"
#include "tool/recognition/reference_database.h"
#include "tool/service/access.h"
#include "tool/service/http_server.h"
#include "tool/service/metrics.h"

namespace audiomatch {

/// Answers what is playing: on which reference of a database, and on which live
/// channel, a recording was heard. Any thread.
class Service {
 public:
  /// @param references  null for none
  Service(std::unique_ptr<const ReferenceDatabase> references, const Thresholds& thresholds,
          const AccessFiles& access);

  /// The functions that a server needs. This object outlives it.
  HttpHandler handler();

  /// Ends the channels that nobody listens to any more. To be called often.
  void endSilentChannels();

  /// Whose counts /metrics shows; null for none. It outlives this object, or is
  /// taken away before.
  void watch(const HttpServer* server) { server_ = server; }

 private:
  struct Route;
  static const std::vector<Route>& routes();

  const Route* find(const HttpRequest& request, bool any_method) const;
  std::optional<HttpResponse> admit(const HttpRequest& request) const;
  HttpResponse answer(const HttpRequest& request);

  HttpResponse recognise(const HttpRequest& request);
  HttpResponse listReferences(const HttpRequest& request);
  HttpResponse listChannels(const HttpRequest& request);
  HttpResponse takeAnalyses(const HttpRequest& request);
  HttpResponse endChannel(const HttpRequest& request);
  HttpResponse health(const HttpRequest& request);
  HttpResponse showMetrics(const HttpRequest& request);

  std::unique_ptr<Recogniser> takeRecogniser();
  void giveBack(std::unique_ptr<Recogniser> recogniser);

  std::unique_ptr<const ReferenceDatabase> references_;
  Thresholds thresholds_;
  Access access_;
  LiveChannels channels_;
  Metrics metrics_;
  std::atomic<const HttpServer*> server_ = nullptr;
  std::mutex mutex_;
  std::vector<std::unique_ptr<Recogniser>> idle_;  // recognisers that nobody uses
};

}  // namespace audiomatch
