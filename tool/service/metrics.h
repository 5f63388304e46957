#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace audiomatch {

/// What a service has done so far, in Prometheus' text format. Any thread.
class Metrics {
 public:
  /// Notes a request that was answered.
  ///
  /// @param route    a name of the service's own, never what a client sent
  /// @param seconds  from its last byte to the answer
  void answered(const std::string& route, unsigned status, double seconds);

  /// Notes a request that was refused when its head had come.
  void refused(const std::string& route, unsigned status);

  /// All that was noted: audiomatch_requests_total by route and status, and
  /// audiomatch_request_seconds, a histogram by route.
  std::string text() const;

 private:
  struct Latencies {
    std::vector<std::uint64_t> counts;  // by bucket, each its own
    std::uint64_t total = 0;
    double sum = 0.0;
  };

  mutable std::mutex mutex_;
  std::map<std::pair<std::string, unsigned>, std::uint64_t> requests_;
  std::map<std::string, Latencies> latencies_;
};

/// One figure with its heading, in the same format.
///
/// @param type  "gauge" or "counter"
std::string metric(std::string_view name, std::string_view type, std::string_view help,
                   double value);

}  // namespace audiomatch
