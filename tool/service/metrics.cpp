#include "tool/service/metrics.h"

#include <fmt/core.h>

#include <algorithm>
#include <iterator>

namespace audiomatch {
namespace {

// Upper ends in seconds. What is slower is in the last bucket, without an end.
constexpr double kBuckets[] = {0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1.0, 2.0, 5.0};

std::string heading(std::string_view name, std::string_view type, std::string_view help) {
  return fmt::format("# HELP {} {}\n# TYPE {} {}\n", name, help, name, type);
}

}  // namespace

void Metrics::answered(const std::string& route, unsigned status, double seconds) {
  const std::lock_guard lock(mutex_);
  ++requests_[{route, status}];
  Latencies& latencies = latencies_[route];
  latencies.counts.resize(std::size(kBuckets) + 1);
  ++latencies
        .counts[static_cast<std::size_t>(std::ranges::lower_bound(kBuckets, seconds) - kBuckets)];
  ++latencies.total;
  latencies.sum += seconds;
}

void Metrics::refused(const std::string& route, unsigned status) {
  const std::lock_guard lock(mutex_);
  ++requests_[{route, status}];
}

std::string Metrics::text() const {
  const std::lock_guard lock(mutex_);
  std::string text = heading("audiomatch_requests_total", "counter", "Requests answered.");
  for (const auto& [key, count] : requests_) {
    text += fmt::format("audiomatch_requests_total{{route=\"{}\",status=\"{}\"}} {}\n", key.first,
                        key.second, count);
  }
  text += heading("audiomatch_request_seconds", "histogram",
                  "Seconds from a request's last byte to its answer.");
  for (const auto& [route, latencies] : latencies_) {
    std::uint64_t below = 0;
    for (std::size_t i = 0; i < latencies.counts.size(); ++i) {
      below += latencies.counts[i];
      const std::string end = i < std::size(kBuckets) ? fmt::format("{}", kBuckets[i]) : "+Inf";
      text += fmt::format("audiomatch_request_seconds_bucket{{route=\"{}\",le=\"{}\"}} {}\n", route,
                          end, below);
    }
    text +=
        fmt::format("audiomatch_request_seconds_sum{{route=\"{}\"}} {}\n", route, latencies.sum);
    text += fmt::format("audiomatch_request_seconds_count{{route=\"{}\"}} {}\n", route,
                        latencies.total);
  }
  return text;
}

std::string metric(std::string_view name, std::string_view type, std::string_view help,
                   double value) {
  return heading(name, type, help) + fmt::format("{} {}\n", name, value);
}

}  // namespace audiomatch
