// What stores cost: fills them with synthetic references, asks each of them about real recordings,
// and asks what lies underneath for the same buckets in turn. For scripts/bench-stores.

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bare_reads.h"
#include "base/logger.h"
#include "feature/feature_extractor.h"
#include "synthetic_database.h"
#include "tool/input/recording.h"
#include "tool/recognition/recogniser.h"
#include "tool/recognition/reference_database.h"
#include "tool/store/database_push.h"
#include "tool/store/open_store.h"

namespace {

using audiomatch::FoundHits;
using audiomatch::References;
using Question = std::vector<audio::AudioFeature>;

/// What a look-up may take of the time of the bare reads.
constexpr double kLimit = 1.5;
constexpr std::uint32_t kEntriesPerReference = 20'000;
/// The stretch of a recording that is asked about.
constexpr audiomatch::Stretch kAsked{10, 10};
/// Buckets of a sample: every so many.
constexpr unsigned kSampled = 101;

template <typename Job>
double secondsOf(Job job) {
  const auto begin = std::chrono::steady_clock::now();
  job();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

double quantile(std::vector<double> values, double share) {
  const auto place = values.begin() + static_cast<std::ptrdiff_t>(
                                          share * static_cast<double>(values.size() - 1) + 0.5);
  std::ranges::nth_element(values, place);
  return *place;
}

double perEntry(std::uint64_t bytes, const References& references) {
  return static_cast<double>(bytes) / static_cast<double>(references.names()->entryCount());
}

Question ask(const std::string& recording) {
  const audiomatch::Recording heard = audiomatch::readStretch(recording, kAsked);
  audio::FeatureExtractor extractor;
  constexpr bool kOnePass = false;
  if (!extractor.init(kOnePass) || !extractor.loadAudio(heard.audio.get()) ||
      !extractor.extractFeatures()) {
    throw std::runtime_error(recording + " has no features");
  }
  return extractor.getFeatures();
}

/// A push that ends in the middle, one that goes on, and one that finds everything done.
void push(const std::string& database, audiomatch::ReferenceStore& store) {
  struct Enough {};
  audiomatch::Pushed pushed;
  const double first = secondsOf([&] {
    try {
      audiomatch::pushDatabase(database, store, [](std::uint64_t done, std::uint64_t of) {
        if (done > of / 2) throw Enough();
      });
    } catch (const Enough&) {
    }
  });
  const std::size_t kept = store.names()->recordingCount();
  const auto push_all = [&] {
    pushed = audiomatch::pushDatabase(database, store, [](std::uint64_t, std::uint64_t) {});
  };
  const double second = secondsOf(push_all);
  const std::size_t added = pushed.added;
  const double third = secondsOf(push_all);
  fmt::print(
      "  pushed: {:.0f} entries a second; ended in the middle after {:.0f} s with {} "
      "references, gone on with for {:.0f} s with {} more, again for {:.0f} s with {}\n",
      static_cast<double>(store.names()->entryCount()) / (first + second), first, kept, second,
      added, third, pushed.added);
}

/// Asks all questions in turn, `rounds` times. False when the ratio is above its limit.
///
/// What is asked underneath is another question than the one before, so that neither finds in the
/// cache what the other one fetched.
bool compare(const References& references, bench::BareReads& bare,
             const std::vector<Question>& questions, int rounds) {
  std::vector<double> found;
  std::vector<double> read;
  std::vector<double> ratios;
  std::vector<double> answered;
  std::vector<double> found_now(questions.size());
  std::vector<double> read_now(questions.size());
  for (int round = -1; round < rounds; ++round) {
    for (std::size_t i = 0; i < questions.size(); ++i) {
      const std::size_t other = (i + questions.size() / 2) % questions.size();
      audiomatch::FoundHits hits;
      found_now[i] = secondsOf([&] { hits = references.find(questions[i]); });
      answered.push_back(found_now[i] + secondsOf([&] { judgeHits(questions[i], hits, {}); }));
      read_now[other] = secondsOf([&] { bare.read(questions[other]); });
    }
    if (round < 0) answered.clear();  // the first one fetches from the disk
    for (std::size_t i = 0; i < questions.size() && round >= 0; ++i) {
      found.push_back(found_now[i]);
      read.push_back(read_now[i]);
      ratios.push_back(found_now[i] / read_now[i]);
    }
  }
  const double ratio = quantile(ratios, .5);
  fmt::print(
      "  ms, half / 99 % at most: look-up {:.2f} / {:.2f}, bare reads {:.2f} / {:.2f}, "
      "whole answer {:.2f} / {:.2f}; ratio {:.2f}, limit {}: {}\n",
      1e3 * quantile(found, .5), 1e3 * quantile(found, .99), 1e3 * quantile(read, .5),
      1e3 * quantile(read, .99), 1e3 * quantile(answered, .5), 1e3 * quantile(answered, .99), ratio,
      kLimit, ratio <= kLimit ? "ok" : "beyond");
  std::fflush(stdout);
  return ratio <= kLimit;
}

/// What is in a store has to be what is in the file.
void requireSame(const References& store, const References& file,
                 const std::vector<Question>& questions) {
  for (const Question& question : questions) {
    const FoundHits found = store.find(question);
    const FoundHits expected = file.find(question);
    if (found.hits != expected.hits || found.ends != expected.ends) {
      throw std::runtime_error("the store finds something else than the file");
    }
  }
}

void describe(const References& references, const std::vector<Question>& questions) {
  std::vector<double> features;
  std::vector<double> hits;
  for (const Question& question : questions) {
    features.push_back(static_cast<double>(question.size()));
    hits.push_back(static_cast<double>(references.find(question).hits.size()));
  }
  fmt::print(
      "{} references, {} entries; {} questions of {} s: half have {:.0f} features and {:.0f} "
      "hits\n",
      references.names()->recordingCount(), references.names()->entryCount(), questions.size(),
      kAsked.seconds, quantile(features, .5), quantile(hits, .5));
}

bool measure(const std::vector<std::string>& places, const std::vector<Question>& questions,
             std::uint32_t entries, int rounds) {
  const bench::SyntheticDatabase database(std::max(1u, entries / kEntriesPerReference),
                                          kEntriesPerReference);
  const audiomatch::ReferenceDatabase file(database.path());
  describe(file, questions);
  fmt::print("file\n  {:.2f} bytes an entry\n", perEntry(database.bytes(), file));
  bool is_fast = compare(file, *bench::bareFile(database.path()), questions, rounds);
  for (const std::string& place : places) {
    fmt::print("{}\n", place);
    const bool is_redis = audiomatch::isRedis(place);
    const auto store = audiomatch::openReferenceStore(place);
    const auto bare = is_redis ? bench::bareRedis(place) : bench::bareLmdb(place + "/references");
    const std::uint64_t before = is_redis ? bare->usedBytes() : 0;
    push(database.path(), *store);
    requireSame(*store, file, questions);
    fmt::print("  {:.2f} bytes an entry\n", perEntry(bare->usedBytes() - before, *store));
    if (is_redis) {
      const auto [strings, sets, wide_sets] = bench::sampleRedis(place, database.path(), kSampled);
      fmt::print(
          "  of every {}th bucket: {:.2f} bytes an entry; as a set of integers of 32 bits "
          "{:.2f}, of more {:.2f}\n",
          kSampled, strings, sets, wide_sets);
    }
    is_fast = compare(*store, *bare, questions, rounds) && is_fast;
  }
  return is_fast;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(
      "Measures stores, which have to be empty, against the reads underneath.\n"
      "Exit code 1 when a look-up takes more than its limit, 3 when something fails.");
  std::vector<std::string> recordings;
  std::vector<std::string> places;
  std::uint32_t entries = 100'000'000;
  int rounds = 10;
  app.add_option("--ask", recordings, "Recordings of 20 s and more to ask about")->required();
  app.add_option("--entries", entries, "Entries of the references")->capture_default_str();
  app.add_option("--rounds", rounds, "Times that each question is asked")->capture_default_str();
  app.add_option("STORE", places, "A new folder, or redis://HOST:PORT of an empty cluster");
  CLI11_PARSE(app, argc, argv);
  audio::gLogger.setEnabled(false);
  try {
    std::vector<Question> questions;
    questions.reserve(recordings.size());
    for (const std::string& recording : recordings) questions.push_back(ask(recording));
    return measure(places, questions, entries, rounds) ? 0 : 1;
  } catch (const std::exception& problem) {
    fmt::print(stderr, "store_bench: {}\n", problem.what());
    return 3;
  }
}
