#include <set>
#include <utility>

#include "plain_features.h"

namespace plain {

// The features, each one once, in ascending order of hash key, then of start time: as a set of
// pairs of the two holds them.
static std::vector<Feature> chooseFeatures(const std::vector<Feature>& features, Log& log) {
  std::set<std::pair<std::uint32_t, std::uint32_t>> chosen;
  for (const Feature& feature : features) {
    chosen.insert({feature.hashKey, feature.startTime});
  }
  std::vector<Feature> result;
  for (const auto& [hash_key, start_time] : chosen) {
    result.push_back({start_time, hash_key});
  }
  say(log, "choose features is %d.", int(result.size()));
  return result;
}

// Hands the mean of the channels to the finder, which keeps its recording if there is no new one.
bool Extractor::load(const Audio* recording) {
  if (!recording) return fail(log, "input a null audio.");
  features.clear();
  if (recording->len() == 0) {
    say(log, "audio data len = 0.");
    return fail(log, "prepare audio data failed.");
  }
  const Audio mono = mixToMono(*recording);
  return finder.setAudio(&mono);
}

// One feature per landmark, in their order; those of several passes are chosen from.
bool Extractor::extract() {
  if (!finder.findLandMarks()) return false;
  if (finder.landmarks.empty()) return fail(log, "landmarks is null.");
  features.clear();
  for (const LandMark& mark : finder.landmarks) {
    features.push_back({std::uint32_t(mark.anchorTime), hashLandMark(mark)});
  }
  if (!finder.single_pass) features = chooseFeatures(features, log);
  return true;
}

}  // namespace plain
