// Features and attributes as a match server gets them from others: any keys,
// times, indices and order.
//
// Input: u8 format (bit 0 whole numbers instead of short ones, so that they
// come from all over the range), then groups of one feature and the attributes
// that follow it: u8 attributes (low four bits) and whether there is a feature
// (bit 4) and whether the attributes have its key (bit 5); the feature's key
// and time; per attribute its index and time, or its packed entry, and its key
// if it isn't the feature's.

#include <cmath>
#include <vector>

#include "fuzz/fuzz_input.h"
#include "match/audio_matcher.h"
#include "match/database/packed_entry.h"

namespace {

constexpr std::size_t kMostAttributes = 4096;
constexpr float kUntouched = -7.0f;

struct Query {
  std::vector<audio::AudioFeature> features;
  std::vector<audio::AudioAttribute> attributes;
};

Query readQuery(audiofuzz::FuzzInput& input) {
  const bool whole = (input.u8() & 1) != 0;
  const auto key = [&] { return whole ? input.u32() : std::uint32_t{input.u8()}; };
  const auto time = [&] { return whole ? input.u32() : std::uint32_t{input.u8()}; };
  const auto entry = [&] {
    if (whole) return input.u64();
    const std::uint32_t index = input.u8();
    return audio::packEntry(index, input.u8());
  };
  Query query;
  while (!input.empty() && query.attributes.size() < kMostAttributes) {
    const std::uint8_t group = input.u8();
    audio::AudioFeature feature{};
    if ((group & 16) != 0) {
      feature = {time(), key()};
      query.features.push_back(feature);
    }
    for (int i = 0; i < (group & 15); ++i) {
      const std::uint64_t packed = entry();
      query.attributes.push_back({packed, (group & 32) != 0 ? feature.hashKey : key()});
    }
  }
  return query;
}

/// Scores on a matcher's latest state; checks what every answer promises.
bool score(audio::AudioMatcher& matcher, const Query& query, float& discrimination) {
  discrimination = kUntouched;
  const bool matched =
      matcher.matchAudioByFeaturesAndAttributes(query.features, query.attributes, &discrimination);
  if (!matched) {
    FUZZ_REQUIRE(discrimination == kUntouched);
    return false;
  }
  FUZZ_REQUIRE(!query.features.empty() && !query.attributes.empty());
  FUZZ_REQUIRE(discrimination >= 0.0f && discrimination <= 1.0f);
  FUZZ_REQUIRE(discrimination == matcher.discrimination());
  const int level = discrimination < 0.35f ? 0 : discrimination < 0.5f ? 1 : 2;
  FUZZ_REQUIRE(matcher.discriminationLevel() == level);
  FUZZ_REQUIRE(matcher.bestMatchName().empty());  // without a database
  const auto best = static_cast<std::uint32_t>(matcher.bestMatchIndex());
  FUZZ_REQUIRE(std::ranges::any_of(query.attributes, [best](const audio::AudioAttribute& found) {
    return audio::entryAudioIndex(found.hashValue) == best;
  }));
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  audiofuzz::beginRun(data, size);
  audiofuzz::FuzzInput input(data, size);
  const Query query = readQuery(input);

  audio::AudioMatcher matcher;
  float discrimination = 0.0f;
  const bool matched = score(matcher, query, discrimination);
  const std::int32_t best = matcher.bestMatchIndex();

  // The same random numbers give the same answer, also on a used matcher.
  srand48(1);
  float again = 0.0f;
  FUZZ_REQUIRE(score(matcher, query, again) == matched);
  FUZZ_REQUIRE(matcher.bestMatchIndex() == best && again == discrimination);
  matcher.matchAudioByFeaturesAndAttributes(query.features, query.attributes, nullptr);
  return 0;
}
