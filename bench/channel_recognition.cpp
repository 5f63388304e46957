#include <fmt/core.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "channel_rates.h"
#include "programme.h"
#include "roughening.h"
#include "tool/recognition/live_channels.h"

namespace bench {
namespace {

constexpr std::size_t kLeastAnswers = 500;  // in each cell of a table
constexpr std::size_t kStrangers = 100;     // pieces
constexpr std::uint32_t kSeconds[] = {3, 5, 10};
constexpr Condition kHeard[] = {Condition::kClean, Condition::kBackground15,
                                Condition::kBackground5, Condition::kNoise0, Condition::kMobile};
constexpr std::string_view kNow = "now";  // clean, and has only just been heard

struct Query {
  std::string_view condition;
  std::uint32_t seconds;
  std::vector<audio::AudioFeature> features;
};

/// Recordings of a piece from random places within what the channel is remembered by, which is
/// the minute that ended five seconds ago.
std::vector<Query> queriesOf(const Sound& sound, std::size_t number, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  std::vector<Query> queries;
  for (const std::uint32_t seconds : kSeconds) {
    const std::size_t length = std::size_t{seconds} * sound.rate;
    for (std::size_t i = 0; i < number; ++i) {
      const std::size_t room = std::size_t{kMinute.monitor} * sound.rate - length;
      const Sound window = cut(sound, random() % room, length);
      for (const Condition condition : kHeard) {
        const Sound heard = roughen(window, window, condition, random);
        queries.push_back({nameOf(condition), seconds, featuresOf(heard)});
      }
    }
    const Sound latest = cut(sound, sound.samples.size() - length, length);
    queries.push_back({kNow, seconds, featuresOf(latest)});
  }
  return queries;
}

/// A line of CSV on where a recording was heard.
void ask(const Query& query, const std::string& recording, std::ptrdiff_t channel,
         const audiomatch::LiveChannels& channels, const std::vector<std::string>& on_air) {
  const audiomatch::ChannelAnswer answer =
      query.features.empty() ? audiomatch::ChannelAnswer() : channels.find(query.features);
  const bool has_best = !answer.candidates.empty();
  const std::ptrdiff_t best = has_best ? answer.candidates[0].id : -1;
  fmt::print("{},{},{},{},{},{},{},{},{},{},{:.3f},{}\n", on_air.size(),
             channel < 0 ? "stranger" : "true", query.condition, query.seconds, recording,
             has_best && best == channel ? 1 : 0,
             has_best ? on_air[static_cast<std::size_t>(best)] : "", answer.level,
             answer.recognised ? 1 : 0, has_best ? answer.candidates[0].agreeing : 0,
             answer.discrimination, query.features.size());
}

}  // namespace

void askWhich(const std::vector<Listed>& recordings, std::size_t number) {
  const Pieces pieces = cutAll(recordings);
  std::vector<Piece> asked = onAir(pieces, number);
  std::vector<std::string> on_air;
  on_air.reserve(number);
  for (const Piece& piece : asked) on_air.push_back(recordings[piece.recording].name);
  asked.insert(asked.end(), pieces.strangers.begin(),
               pieces.strangers.begin() +
                   static_cast<std::ptrdiff_t>(std::min(kStrangers, pieces.strangers.size())));
  audiomatch::LiveChannels channels(audiomatch::kThresholds);
  std::vector<std::vector<Query>> queries(asked.size());
  forEachPiece(recordings, asked, [&](std::size_t i, const Sound& sound) {
    const std::size_t pieces_of_kind = i < number ? number : asked.size() - number;
    const std::size_t each = (kLeastAnswers + pieces_of_kind - 1) / pieces_of_kind;
    queries[i] = queriesOf(sound, each, i);
    if (i >= number) return;
    audio::StreamAttributeExtractor extractor;
    const auto analyses = listen(extractor, sound, 1);
    for (std::uint32_t k = 0; k < analyses.size(); ++k) {
      channels.apply(static_cast<std::uint32_t>(i), sessionOf(i), k, analyses[k]);
    }
  });
  fmt::print(
      "channels,kind,condition,seconds,recording,right,best_recording,level,recognised,"
      "agreeing,discrimination,features\n");
  for (std::size_t i = 0; i < asked.size(); ++i) {
    const std::ptrdiff_t channel = i < number ? static_cast<std::ptrdiff_t>(i) : -1;
    for (const Query& query : queries[i]) {
      ask(query, recordings[asked[i].recording].name, channel, channels, on_air);
    }
  }
}

}  // namespace bench
