#include <fmt/core.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string_view>
#include <thread>
#include <utility>

#include "channel_rates.h"
#include "effects.h"
#include "programme.h"
#include "tool/base/parallel.h"
#include "tool/recognition/live_channels.h"
#include "tool/recognition/no_references.h"
#include "tool/store/local_store.h"
#include "tool/store/redis_channels.h"

namespace bench {
namespace {

double threadSeconds() {
  rusage used{};
  getrusage(RUSAGE_THREAD, &used);
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
  };
  return seconds(used.ru_utime) + seconds(used.ru_stime);
}

std::size_t heapBytes() {
  const struct mallinfo2 heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

/// CPU time and memory that something took, each time that it was done.
struct Cost {
  double seconds = 0.0;
  double bytes = 0.0;
  std::size_t times = 0;

  void print(std::string_view what) const {
    const double count = static_cast<double>(times);
    fmt::print("{},{:.9f},{:.0f}\n", what, seconds / count, bytes);
  }
};

/// Listens to pieces one after another, on one thread; memory is that of one listener.
Cost listeningCost(const std::vector<Sound>& sounds, std::uint32_t channels,
                   std::vector<Analyses>& heard) {
  Cost cost;
  for (const Sound& sound : sounds) {
    const std::size_t heap = heapBytes();
    const double begin = threadSeconds();
    audio::StreamAttributeExtractor extractor;
    heard.push_back(listen(extractor, sound, channels));
    cost.seconds += threadSeconds() - begin;
    cost.bytes = static_cast<double>(heapBytes() - heap);
    cost.times += heard.back().size();
  }
  return cost;
}

/// Hands the channels' second minute to `apply`; memory is what a channel's first one took.
template <typename Apply>
Cost applyingCost(const std::vector<Analyses>& channels, Apply apply) {
  const auto second = [&](std::uint32_t analysis) {
    for (std::size_t id = 0; id < channels.size(); ++id) {
      apply(static_cast<std::uint32_t>(id), sessionOf(id), analysis,
            attributesAt(channels[id], analysis));
    }
  };
  const std::uint32_t minute = kMinute.monitor / kMinute.update;
  const std::size_t heap = heapBytes();
  for (std::uint32_t analysis = 0; analysis < minute; ++analysis) second(analysis);
  Cost cost;
  cost.bytes = static_cast<double>(heapBytes() - heap) / static_cast<double>(channels.size());
  const double begin = threadSeconds();
  for (std::uint32_t analysis = minute; analysis < 2 * minute; ++analysis) second(analysis);
  cost.seconds = threadSeconds() - begin;
  cost.times = minute * channels.size();
  return cost;
}

audiomatch::LocalStore openStore(const std::filesystem::path& folder) {
  return {std::make_unique<const audiomatch::NoReferences>(),
          std::make_unique<audiomatch::StoreFolder>(folder), audiomatch::kThresholds};
}

std::uint64_t diskBytes(const std::filesystem::path& folder) {
  std::uint64_t bytes = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    struct stat status {};
    if (stat(entry.path().c_str(), &status) == 0) {
      bytes += static_cast<std::uint64_t>(status.st_blocks) * 512;
    }
  }
  return bytes;
}

}  // namespace

void printCosts(const std::vector<Listed>& recordings, std::size_t number,
                const std::filesystem::path& folder) {
  constexpr std::size_t kWide = 20;
  const std::vector<Piece> pieces = onAir(cutAll(recordings), number);
  std::vector<Sound> narrow(number);
  std::vector<Sound> wide(std::min(kWide, number));
  forEachPiece(recordings, pieces, [&](std::size_t i, const Sound& sound) {
    narrow[i] = sound;
    if (i < wide.size()) wide[i] = atRate(sound, 44'100);
  });
  fmt::print("what,seconds,bytes\n");
  std::vector<Analyses> analyses;
  listeningCost(narrow, 1, analyses).print("listen 8000");
  std::vector<Analyses> others;
  listeningCost(wide, 2, others).print("listen 44100 stereo");
  std::size_t attributes = 0;
  for (const Analyses& channel : analyses) {
    for (const auto& each : channel) attributes += each.size();
  }
  audiomatch::LiveChannels channels(audiomatch::kThresholds);
  applyingCost(analyses, [&](auto... args) { channels.apply(std::move(args)...); }).print("apply");
  audiomatch::LocalStore store = openStore(folder);
  applyingCost(analyses, [&](auto... args) { store.apply(std::move(args)...); }).print("store");
  fmt::print("attributes,{:.0f},0\n",
             static_cast<double>(attributes) / static_cast<double>(number));
}

bool keepForDay(const std::vector<Listed>& recordings, std::size_t number,
                const std::filesystem::path& folder) {
  constexpr double kGrowth = 1.1;
  constexpr std::uint32_t kHour = 3600;
  const auto pieces = analysesOf(recordings, onAir(cutAll(recordings), number));
  audiomatch::LocalStore store = openStore(folder);
  const auto used = [&] {
    return std::array{store.counts().bytes, diskBytes(folder), std::uint64_t{heapBytes()}};
  };
  std::array<std::uint64_t, 3> first{};
  std::array<std::uint64_t, 3> last{};
  fmt::print("hour,used,disk,heap\n");
  for (std::uint32_t second = 0; second < 24 * kHour;) {
    for (std::uint32_t id = 0; id < number; ++id) {
      const Analyses& piece = pieces[(id + second / kMinute.monitor) % number];
      store.apply(id, sessionOf(id), second, attributesAt(piece, second));
    }
    if (++second % kHour != 0) continue;
    const auto now = used();
    fmt::print("{},{},{},{}\n", second / kHour, now[0], now[1], now[2]);
    std::fflush(stdout);
    last = now;
    if (second == kHour) first = now;
  }
  return std::ranges::equal(last, first, [](std::uint64_t after, std::uint64_t before) {
    return static_cast<double>(after) <= kGrowth * static_cast<double>(before);
  });
}

void feedCluster(const std::vector<Listed>& recordings, std::size_t number, const std::string& url,
                 std::uint32_t monitor, std::uint32_t seconds) {
  constexpr unsigned kFeeders = 8;  // which wait for the cluster most of their time
  const auto pieces = analysesOf(recordings, onAir(cutAll(recordings), number));
  audiomatch::RedisCluster cluster(audiomatch::parseRedisTarget(url));
  audiomatch::RedisChannels channels(cluster);
  fmt::print("fed\n");
  std::fflush(stdout);
  const auto start = std::chrono::steady_clock::now();
  for (std::uint32_t second = 0; second < seconds; ++second) {
    std::this_thread::sleep_until(start + std::chrono::seconds(second));
    const auto apply = [&](std::size_t id) {
      const Analyses& piece = pieces[(id + second / kMinute.monitor) % number];
      channels.apply(static_cast<std::uint32_t>(id), sessionOf(id, {1, monitor}), second,
                     attributesAt(piece, second));
    };
    audiomatch::forEachParallel(number, kFeeders, apply, [] {});
  }
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  fmt::print(stderr, "fed {} seconds in {:.1f}\n", seconds, took.count());
}

}  // namespace bench
