#include "programme.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <random>
#include <span>
#include <stdexcept>
#include <utility>

#include "base/analysis_grid.h"
#include "effects.h"
#include "match/database/packed_entry.h"
#include "tool/base/parallel.h"
#include "tool/input/decoder.h"
#include "tool/input/recording.h"
#include "tool/input/sound_source.h"

namespace bench {
namespace {

constexpr unsigned kThreads = 2;
constexpr std::uint32_t kPacketsPerSecond = 5;
constexpr std::size_t kRecordingsPerStranger = 7;
constexpr double kSpeeds[] = {1.0, 0.944, 0.891};  // as recorded, and one and two semitones lower

void shuffle(std::vector<Piece>& pieces, std::mt19937_64& random) {
  for (std::size_t k = pieces.size(); k > 1; --k) std::swap(pieces[k - 1], pieces[random() % k]);
}

double secondsOf(const Listed& recording) {
  const auto source = audiomatch::openSound(recording.path);
  return static_cast<double>(source->promisedFrames()) / source->sampleRate();
}

}  // namespace

Sound Piece::of(const Sound& whole) const {
  const auto samples = static_cast<std::size_t>(kPieceSeconds * speed * whole.rate);
  const auto first = static_cast<std::size_t>(start * whole.rate);
  // A header may promise more than there is.
  if (whole.samples.size() < samples) throw std::runtime_error("a recording ends before its piece");
  Sound sound = cut(whole, std::min(first, whole.samples.size() - samples), samples);
  sound.rate = static_cast<std::uint32_t>(std::lround(speed * whole.rate));
  return speed == 1.0 ? sound : atRate(sound, whole.rate);
}

Pieces cutAll(const std::vector<Listed>& recordings) {
  std::mt19937_64 random(1);
  Pieces pieces;
  std::vector<Piece> slow;
  for (std::size_t i = 0; i < recordings.size(); ++i) {
    const double seconds = secondsOf(recordings[i]);
    const bool is_stranger = i % kRecordingsPerStranger == 0;
    for (const double speed : kSpeeds) {
      auto& to = is_stranger ? pieces.strangers : speed < 1.0 ? slow : pieces.on_air;
      const double step = kPieceSeconds * speed;
      for (double start = 0.0; start + step <= seconds; start += step) {
        if (!is_stranger || speed == 1.0) to.push_back({i, start, speed});
      }
    }
  }
  shuffle(pieces.on_air, random);
  shuffle(pieces.strangers, random);
  shuffle(slow, random);
  pieces.on_air.insert(pieces.on_air.end(), slow.begin(), slow.end());
  return pieces;
}

Analyses listen(audio::StreamAttributeExtractor& extractor, const Sound& sound,
                std::uint32_t channels) {
  const std::uint32_t packet = sound.rate / kPacketsPerSecond;
  if (!extractor.init(0, kMinute.update, kMinute.monitor, sound.rate, channels, packet)) {
    std::abort();
  }
  Analyses analyses;
  std::vector<std::int16_t> samples;
  for (std::span rest(sound.samples); rest.size() >= packet; rest = rest.subspan(packet)) {
    samples.clear();
    for (const float sample : rest.first(packet)) {
      samples.insert(samples.end(), channels, audiomatch::toPcm16(sample));
    }
    const auto heard = audiomatch::toAudio(samples, channels, sound.rate);
    if (!extractor.update(heard.get())) std::abort();
    if (extractor.lastAnalysis()) analyses.push_back(extractor.currentAttributes());
    if (analyses.size() == kMinute.monitor / kMinute.update) return analyses;
  }
  std::abort();  // a piece is as long as that
}

std::vector<audio::AudioAttribute> attributesAt(const Analyses& piece, std::uint32_t analysis) {
  const auto length = static_cast<std::uint32_t>(piece.size());
  std::vector<audio::AudioAttribute> attributes = piece[analysis % length];
  const std::uint32_t later = analysis / length * length * codesPerUpdate(kMinute);
  for (audio::AudioAttribute& each : attributes) {
    each.hashValue = audio::packEntry(0, audio::entryTime(each.hashValue) + later);
  }
  return attributes;
}

audiomatch::ChannelSession sessionOf(std::size_t id, audiomatch::ChannelPeriods periods) {
  return {fmt::format("channel {}", id), periods, "session"};
}

void forEachPiece(const std::vector<Listed>& recordings, const std::vector<Piece>& pieces,
                  const std::function<void(std::size_t, const Sound&)>& work) {
  std::map<std::size_t, std::vector<std::size_t>> by_recording;
  for (std::size_t i = 0; i < pieces.size(); ++i) by_recording[pieces[i].recording].push_back(i);
  const std::vector<std::pair<std::size_t, std::vector<std::size_t>>> parts(by_recording.begin(),
                                                                            by_recording.end());
  std::size_t done = 0;
  const auto read = [&](std::size_t part) {
    const Sound whole = readMono(recordings[parts[part].first].path);
    for (const std::size_t i : parts[part].second) work(i, pieces[i].of(whole));
  };
  audiomatch::forEachParallel(parts.size(), kThreads, read, [&] {
    fmt::print(stderr, "\rread {} of {} recordings ", ++done, parts.size());
  });
  fmt::print(stderr, "\n");
}

std::vector<Piece> onAir(const Pieces& pieces, std::size_t channels) {
  if (pieces.on_air.size() < channels) {
    fmt::print(stderr, "there is music for {} channels only\n", pieces.on_air.size());
    std::exit(2);
  }
  return {pieces.on_air.begin(), pieces.on_air.begin() + static_cast<std::ptrdiff_t>(channels)};
}

std::vector<Analyses> analysesOf(const std::vector<Listed>& recordings,
                                 const std::vector<Piece>& pieces) {
  std::vector<Analyses> all(pieces.size());
  forEachPiece(recordings, pieces, [&](std::size_t i, const Sound& sound) {
    audio::StreamAttributeExtractor extractor;
    all[i] = listen(extractor, sound, 1);
  });
  return all;
}

}  // namespace bench
