#include "synthetic_database.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <utility>

#include "feature/feature_extractor.h"
#include "match/database_format.h"
#include "match/packed_entry.h"
#include "synthetic_audio.h"

namespace bench {
namespace {

void appendCount(std::vector<unsigned char>& out, std::uint32_t count) {
  out.resize(out.size() + audio::kCountBytes);
  audio::storeLittleEndian(count, out.data() + out.size() - audio::kCountBytes);
}

/// Entries of all audios by key: keys of a few recordings, moved along the bins.
std::vector<std::pair<std::uint32_t, std::uint64_t>> entries(std::uint32_t audios,
                                                             std::uint32_t perAudio) {
  std::vector<std::vector<audio::AudioFeature>> sources;
  for (std::uint32_t seed = 100; seed < 108; ++seed) {
    sources.push_back(syntheticFeatures(seed, 60, false));
  }
  std::mt19937 random(7);
  std::vector<std::pair<std::uint32_t, std::uint64_t>> all;
  all.reserve(std::size_t{audios} * perAudio);
  for (std::uint32_t audio = 0; audio < audios; ++audio) {
    const auto& source = sources[audio % sources.size()];
    const auto shift = static_cast<std::uint32_t>(random()) % 256u << 12;
    for (std::uint32_t i = 0; i < perAudio; ++i) {
      const auto& feature = source[random() % source.size()];
      all.emplace_back((feature.hashKey + shift) & (audio::kTableSize - 1),
                       audio::packEntry(audio, static_cast<std::uint32_t>(random())));
    }
  }
  std::sort(all.begin(), all.end());
  return all;
}

}  // namespace

std::vector<audio::AudioFeature> syntheticFeatures(std::uint32_t seed, std::uint32_t seconds,
                                                   bool singlePass) {
  const auto audio = syntheticMusic(seed, seconds, 1, 8000);
  audio::FeatureExtractor extractor;
  if (!extractor.init(singlePass) || !extractor.loadAudio(audio.get()) ||
      !extractor.extractFeatures()) {
    std::abort();
  }
  return extractor.getFeatures();
}

SyntheticDatabase::SyntheticDatabase(std::uint32_t audios, std::uint32_t entriesPerAudio) {
  std::vector<unsigned char> out;
  appendCount(out, audios);
  for (std::uint32_t i = 0; i < audios; ++i) {
    const std::string name = "reference " + std::to_string(i);
    appendCount(out, static_cast<std::uint32_t>(name.size()));
    out.insert(out.end(), name.c_str(), name.c_str() + name.size() + 1);
  }
  appendCount(out, audio::kTableSize);
  appendCount(out, audio::kTimeSlots);
  const auto all = entries(audios, entriesPerAudio);
  auto next = all.begin();
  for (std::uint32_t key = 0; key < audio::kTableSize; ++key) {
    const auto end = std::find_if(next, all.end(), [key](const auto& e) { return e.first != key; });
    appendCount(out, static_cast<std::uint32_t>(end - next));
    for (; next != end; ++next) {
      out.resize(out.size() + audio::kEntryBytes);
      audio::storeLittleEndian(next->second, out.data() + out.size() - audio::kEntryBytes);
    }
  }
  char path[] = "/tmp/bench_database_XXXXXX";
  const int file = mkstemp(path);
  path_ = path;
  bytes_ = out.size();
  std::FILE* stream = fdopen(file, "wb");
  if (!stream || std::fwrite(out.data(), 1, out.size(), stream) != out.size()) std::abort();
  std::fclose(stream);
}

SyntheticDatabase::~SyntheticDatabase() { unlink(path_.c_str()); }

}  // namespace bench
