// How often recordings are recognised, and how often strangers are: asks windows of recordings of
// databases drawn from them and prints every answer, a line of CSV each, for scripts/rates.

#include <fmt/core.h>
#include <fmt/ostream.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/analysis_grid.h"
#include "base/logger.h"
#include "effects.h"
#include "match/audio_matcher.h"
#include "match/database/audio_database.h"
#include "match/database/database_writer.h"
#include "recordings.h"
#include "roughening.h"
#include "tool/base/parallel.h"
#include "tool/keeping/reference_analysis.h"

namespace {

constexpr unsigned kThreads = 2;
constexpr std::uint32_t kShortestMusic = 30;  // in seconds; what is shorter is left out
constexpr std::uint32_t kHalfSeconds = 5;

/// Windows that are asked about: of each recording of music and of speech, and of each noise.
struct Windows {
  std::uint32_t seconds;
  std::size_t music;
  std::size_t speech;
  std::size_t noise;
};
constexpr Windows kWindows[] = {
    {5, 2, 40, 20}, {10, 3, 40, 20}, {20, 2, 40, 10}, {30, 1, 40, 10}, {60, 1, 20, 10}};

/// Databases to draw: their size in recordings, and how many of them.
struct Draws {
  std::size_t size;
  std::size_t number;
};
constexpr Draws kDraws[] = {{1, 96}, {3, 64}, {10, 20}, {30, 12}, {100, 10}};

/// What a database is asked. A window of music may be in it; the rest never is.
struct Query {
  std::string kind;
  std::string source;   ///< the recording's name
  std::string source2;  ///< that of a second half's, else empty
  std::uint32_t seconds;
  double start;
  std::string condition;
  std::vector<audio::AudioFeature> features;
};

struct Recording {
  std::string kind;
  std::string name;
  std::string path;
  std::vector<std::vector<audio::AudioFeature>> parts{};
  std::vector<Query> queries{};
  bench::Sound half{};  // five seconds at 8 kHz, to be put next to another's
};

class Bytes : public audio::ByteSink, public audio::ByteSource {
 public:
  void write(const void* bytes, std::size_t size) override {
    bytes_.append(static_cast<const char*>(bytes), size);
  }
  std::size_t read(void* bytes, std::size_t size) noexcept override {
    const std::size_t came = std::min(size, bytes_.size() - place_);
    std::memcpy(bytes, bytes_.data() + place_, came);
    place_ += came;
    return came;
  }
  std::uint64_t remaining() noexcept override { return bytes_.size() - place_; }
  bool failed() const noexcept override { return false; }

 private:
  std::string bytes_;
  std::size_t place_ = 0;
};

/// Asks for `number` windows of a length at random places, in each of the conditions.
void addWindows(Recording& recording, const bench::Sound& sound, std::uint32_t seconds,
                std::size_t number, std::span<const bench::Condition> conditions,
                std::mt19937_64& random) {
  const std::size_t length = std::size_t{seconds} * sound.rate;
  if (length > sound.samples.size()) return;
  for (std::size_t i = 0; i < number; ++i) {
    const std::size_t start = random() % (sound.samples.size() - length + 1);
    const bench::Sound window = bench::cut(sound, start, length);
    const bench::Sound narrow = bench::atRate(window, audio::kAnalysisRate);
    for (const bench::Condition condition : conditions) {
      recording.queries.push_back(
          {recording.kind, recording.name, "", seconds, static_cast<double>(start) / sound.rate,
           std::string(bench::nameOf(condition)),
           bench::featuresOf(bench::roughen(window, narrow, condition, random))});
    }
    if (seconds == kHalfSeconds) recording.half = narrow;
  }
}

void analyse(Recording& recording, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  const bench::Sound sound = bench::readMono(recording.path);
  const bool is_speech = recording.kind == "speech";
  if (!is_speech && sound.samples.size() < std::size_t{kShortestMusic} * sound.rate) return;
  if (!is_speech) {
    recording.parts =
        audiomatch::ReferenceAnalyser().analyse(recording.path, audiomatch::kUsualRoom).parts;
  }
  if (recording.kind == "voice") return;
  for (const Windows& windows : kWindows) {
    if (is_speech) {
      addWindows(recording, sound, windows.seconds, windows.speech, {{bench::Condition::kClean}},
                 random);
    } else {
      addWindows(recording, sound, windows.seconds, windows.music, bench::kConditions, random);
    }
  }
}

std::vector<Query> noiseQueries() {
  std::mt19937_64 random(1);
  std::vector<Query> queries;
  for (const bench::Noise noise : bench::kNoises) {
    for (const Windows& windows : kWindows) {
      for (std::size_t i = 0; i < windows.noise; ++i) {
        const bench::Sound sound =
            bench::makeNoise(noise, std::size_t{windows.seconds} * audio::kAnalysisRate, random);
        queries.push_back({"noise", std::string(bench::nameOf(noise)), "", windows.seconds, 0.0,
                           "clean", bench::featuresOf(sound)});
      }
    }
  }
  return queries;
}

/// Windows of ten seconds, half of one recording, half of the next.
std::vector<Query> straddlingQueries(const std::vector<Recording>& recordings) {
  std::vector<Query> queries;
  const Recording* before = nullptr;
  for (const Recording& recording : recordings) {
    if (recording.half.samples.empty()) continue;
    if (before) {
      bench::Sound both = before->half;
      both.samples.insert(both.samples.end(), recording.half.samples.begin(),
                          recording.half.samples.end());
      queries.push_back({"straddle", before->name, recording.name, 2 * kHalfSeconds, 0.0, "8kHz",
                         bench::featuresOf(both)});
    }
    before = &recording;
  }
  return queries;
}

std::vector<Recording> recordingsOf(const char* list) {
  std::vector<Recording> recordings;
  for (const bench::Listed& each : bench::readList(list)) {
    recordings.push_back({.kind = each.kind, .name = each.name, .path = each.path});
  }
  return recordings;
}

/// A database of some recordings, and who is in it.
struct Drawn {
  std::vector<const Recording*> members;
  std::vector<std::string> names;  // by audio index
  std::size_t entries = 0;
  std::shared_ptr<const audio::AudioDatabase> database;

  bool has(const std::string& name) const {
    return std::ranges::any_of(members, [&](const Recording* r) { return r->name == name; });
  }
};

void build(Drawn& drawn) {
  std::vector<audio::DatabaseAudio> audios;
  for (const Recording* recording : drawn.members) {
    for (const auto& part : recording->parts) {
      audios.push_back({recording->name, part});
      drawn.names.push_back(recording->name);
      drawn.entries += part.size();
    }
  }
  Bytes bytes;
  audio::writeDatabase(audios, bytes);
  const auto database = std::make_shared<audio::AudioDatabase>();
  if (!database->load(bytes)) std::abort();
  drawn.database = database;
}

/// Strangers come as they are and in noise; what is in the database in every condition.
bool isAsked(const Query& query, const Drawn& drawn) {
  if (query.kind == "straddle") return drawn.has(query.source) || drawn.has(query.source2);
  return query.kind != "music" || query.condition == "clean" || query.condition == "pink0" ||
         drawn.has(query.source);
}

/// A line on what the matcher finds.
std::string answer(const Query& query, const Drawn& drawn, audio::AudioMatcher& matcher) {
  if (!matcher.forgetHistory()) std::abort();
  matcher.matchFeatures(query.features);
  const std::vector<audio::Match>& found = matcher.candidates();
  const auto name = [&](const audio::Match& match) {
    return drawn.names[static_cast<std::size_t>(match.audio_index)];
  };
  const auto other = std::ranges::find_if(
      found, [&](const audio::Match& match) { return name(match) != name(found.front()); });
  const audio::Match none{};
  const audio::Match& best = found.empty() ? none : found.front();
  const int members = drawn.has(query.source) + drawn.has(query.source2);
  return fmt::format("{},{},{},{},{},{:.3f},{},{},{},{},{},{},{},{},{},{},{}", drawn.members.size(),
                     query.kind, query.source, query.source2, query.seconds, query.start,
                     query.condition, members, query.features.size(), drawn.entries,
                     matcher.hitCount(), best.matched_num, found.empty() ? "" : name(best),
                     best.hit_count, best.offset, other == found.end() ? 0 : other->matched_num,
                     other == found.end() ? "" : name(*other));
}

std::vector<const Recording*> ofKind(const std::vector<Recording>& recordings,
                                     std::string_view kind) {
  std::vector<const Recording*> result;
  for (const Recording& recording : recordings) {
    if (recording.kind == kind) result.push_back(&recording);
  }
  return result;
}

/// The members of every database: each size goes through shuffle after shuffle of the recordings,
/// so that all are references about equally often. Last come one of all and one of the voices.
std::vector<std::vector<const Recording*>> drawAll(const std::vector<Recording>& recordings) {
  const std::vector<const Recording*> music = ofKind(recordings, "music");
  std::mt19937_64 random(3);
  std::vector<std::vector<const Recording*>> draws;
  for (const Draws& of : kDraws) {
    std::vector<const Recording*> left;
    for (std::size_t i = 0; i < of.number && of.size <= music.size(); ++i) {
      if (left.size() < of.size) {
        left = music;
        for (std::size_t k = left.size(); k > 1; --k) std::swap(left[k - 1], left[random() % k]);
      }
      const auto first = left.end() - static_cast<std::ptrdiff_t>(of.size);
      draws.emplace_back(first, left.end());
      left.erase(first, left.end());
    }
  }
  draws.push_back(music);
  draws.push_back(ofKind(recordings, "voice"));
  return draws;
}

void ask(const std::vector<Query>& queries, const std::vector<const Recording*>& members,
         std::size_t draw) {
  Drawn drawn;
  drawn.members = members;
  build(drawn);
  audio::AudioMatcher matcher;
  if (!matcher.init(drawn.database)) std::abort();
  std::string lines;
  for (const Query& query : queries) {
    if (isAsked(query, drawn)) lines += fmt::format("{},{}\n", draw, answer(query, drawn, matcher));
  }
  fmt::print("{}", lines);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    fmt::print(stderr, "usage: audiomatch_rates LIST   (lines of: kind TAB name TAB file)\n");
    return 2;
  }
  audio::gLogger.setEnabled(false);
  std::vector<Recording> recordings = recordingsOf(argv[1]);
  std::size_t done = 0;
  audiomatch::forEachParallel(
      recordings.size(), kThreads, [&](std::size_t i) { analyse(recordings[i], 100 + i); },
      [&] { fmt::print(stderr, "\ranalysed {} of {}", ++done, recordings.size()); });
  std::erase_if(recordings, [](const Recording& recording) {
    return recording.parts.empty() && recording.queries.empty();
  });
  std::vector<Query> queries = noiseQueries();
  std::ranges::move(straddlingQueries(recordings), std::back_inserter(queries));
  for (Recording& recording : recordings) {
    std::ranges::move(recording.queries, std::back_inserter(queries));
  }
  fmt::print(
      "draw,size,kind,source,source2,seconds,start,condition,members,features,entries,hits,"
      "best,best_name,best_hits,offset,other,other_name\n");
  const auto draws = drawAll(recordings);
  done = 0;
  audiomatch::forEachParallel(
      draws.size(), kThreads, [&](std::size_t i) { ask(queries, draws[i], i); },
      [&] { fmt::print(stderr, "\rasked {} of {} databases ", ++done, draws.size()); });
  fmt::print(stderr, "\n");
  return 0;
}
