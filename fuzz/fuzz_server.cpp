// Features and attributes as a match server gets them from others, against the
// plain reference: any keys, times, indices and order.
//
// Input: u8 format (bit 0 whole numbers instead of short ones, so that they
// come from all over the range), then groups of one feature and the attributes
// that follow it: u8 attributes (low four bits) and whether there is a feature
// (bit 4) and whether the attributes have its key (bit 5); the feature's key
// and time; per attribute its index and time, or its packed entry, and its key
// if it isn't the feature's.

#include <vector>

#include "fuzz/fuzz_input.h"
#include "match/audio_matcher.h"
#include "match/database/packed_entry.h"
#include "support/test_audio.h"

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  audiofuzz::beginRun(data, size);
  audiofuzz::FuzzInput input(data, size);
  const Query query = readQuery(input);
  const plain::Answer expected =
      plain::answerFromAttributes(testing_support::asPlain<plain::Feature>(query.features),
                                  testing_support::asPlain<plain::Attribute>(query.attributes));
  const long draw = lrand48();

  // The same random numbers give the same answer, also on a used matcher.
  audio::AudioMatcher matcher;
  for (int round = 0; round < 2; ++round) {
    srand48(1);
    float discrimination = kUntouched;
    FUZZ_REQUIRE(matcher.matchAudioByFeaturesAndAttributes(query.features, query.attributes,
                                                           &discrimination) == expected.matched);
    FUZZ_REQUIRE(lrand48() == draw);
    FUZZ_REQUIRE(matcher.bestMatchName().empty());  // without a database
    if (expected.score) {
      FUZZ_REQUIRE(matcher.bestMatchIndex() == expected.score->audio_index);
      FUZZ_REQUIRE(matcher.discrimination() == expected.score->discrimination);
    }
    const float wanted = expected.matched ? expected.score->discrimination : kUntouched;
    FUZZ_REQUIRE(discrimination == wanted);
  }
  matcher.matchAudioByFeaturesAndAttributes(query.features, query.attributes, nullptr);
  return 0;
}
