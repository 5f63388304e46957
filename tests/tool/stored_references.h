#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "match/database/database_writer.h"
#include "tool/keeping/atomic_file.h"
#include "tool/recognition/reference_database.h"
#include "tool/store/reference_store.h"

namespace testing_support {

using audiomatch::FoundHits;
using audiomatch::NewReference;

// Few keys, so that buckets have many entries, some with the same key and time.
inline constexpr std::uint32_t kKeys = 40;

inline std::vector<audio::AudioFeature> randomEntries(std::uint32_t seed, std::size_t count) {
  std::mt19937 random(seed);
  std::vector<audio::AudioFeature> entries;
  for (std::size_t i = 0; i < count; ++i) {
    const auto key = static_cast<std::uint32_t>(random() % kKeys);
    entries.push_back({static_cast<std::uint32_t>(random() % (1u << 14)), key * 26'000});
  }
  audio::sortUnique(entries);
  return entries;
}

inline std::vector<NewReference> someReferences() {
  std::vector<NewReference> references;
  for (std::uint32_t i = 0; i < 9; ++i) {
    references.push_back({"track " + std::to_string(i), {randomEntries(10 * i, 200)}});
  }
  references[4].parts.push_back(randomEntries(1000, 150));
  references[4].parts.push_back(randomEntries(1001, 1));
  return references;
}

inline audiomatch::ReferenceDatabase databaseOf(const std::vector<NewReference>& references,
                                                const std::filesystem::path& path) {
  std::vector<audio::DatabaseAudio> audios;
  for (const NewReference& reference : references) {
    for (const auto& part : reference.parts) audios.push_back({reference.name, part});
  }
  audiomatch::AtomicFile file(path);
  writeDatabase(audios, file);
  file.commit();
  return audiomatch::ReferenceDatabase(path);
}

/// Every hit by the name of its recording and its offset there.
inline std::vector<std::vector<std::pair<std::string, std::int32_t>>> named(
    const FoundHits& found) {
  std::vector<std::vector<std::pair<std::string, std::int32_t>>> all(found.ends.size());
  for (std::size_t i = 0; i < all.size(); ++i) {
    for (const audio::AudioHashHit& hit : found.of(i)) {
      all[i].emplace_back(found.names->name(hit.audio_index),
                          hit.time_offset + found.names->startFrame(hit.audio_index));
    }
  }
  return all;
}

/// The keys of all entries and some more, several features of a key.
inline std::vector<audio::AudioFeature> question() {
  std::vector<audio::AudioFeature> features = randomEntries(77, 300);
  features.push_back({5, 123'456});
  audio::sortUnique(features);
  return features;
}

}  // namespace testing_support
