#include "tool/service/drawing.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "base/analysis_grid.h"
#include "feature/land_mark.h"
#include "tool/input/fingerprint_format.h"
#include "tool/output/text.h"
#include "tool/picture/colour_scale.h"
#include "tool/picture/match_hits.h"
#include "tool/picture/spectrogram_analysis.h"

namespace audiomatch {
namespace {

using Json = nlohmann::ordered_json;

// Half a minute has a column for each frame.
constexpr std::size_t kMostColumns = 960;
constexpr std::size_t kMostHits = 3000;

/// A feature of the recording, and when it was heard elsewhere.
struct Hit {
  std::uint32_t frame;
  std::uint32_t key;
  double seconds;
  bool agrees;
};

/// Decibels from `kDecibelRange` below the loudest cell up to it, as bytes from 0 to 255.
std::string levels(const SpectrogramColumns& columns) {
  std::vector<double> powers;
  powers.reserve(columns.columns() * columns.bins());
  for (std::size_t column = 0; column < columns.columns(); ++column) {
    for (std::size_t bin = 0; bin < columns.bins(); ++bin) {
      powers.push_back(columns.power(column, bin));
    }
  }
  const double loudest = powers.empty() ? 0.0 : *std::ranges::max_element(powers);
  std::string bytes;
  bytes.reserve(powers.size());
  for (const double power : powers) {
    // Of silence minus infinity, or no number at all.
    const double level = 1.0 + 10.0 * std::log10(power / loudest) / kDecibelRange;
    bytes.push_back(static_cast<char>(level > 0.0 ? std::lround(255.0 * level) : 0));
  }
  return bytes;
}

Json spectrogramOf(const SpectrogramAnalysis& analysis) {
  const SpectrogramColumns& columns = analysis.columns;
  return {{"frames", columns.frames()},   {"frames_per_column", columns.framesPerColumn()},
          {"columns", columns.columns()}, {"bins", columns.bins()},
          {"decibels", kDecibelRange},    {"levels", toBase64(levels(columns))}};
}

Json peaksOf(const SpectrogramAnalysis& analysis) {
  auto peaks = Json::array();
  for (const audio::LocalMaxRecorder& peak : analysis.peaks) {
    peaks.push_back({peak.timeIndex, peak.freqIndex});
  }
  return peaks;
}

Json hitOf(const Hit& hit) {
  const audio::LandMark mark = audio::landMarkOfHash(hit.key);
  const double seconds = thousandths(hit.seconds);
  if (!hit.agrees) return {hit.frame, seconds};
  return {hit.frame, mark.anchorFreq, std::int64_t{hit.frame} + mark.deltaTime, mark.targetFreq,
          seconds};
}

/// The hits with the frames of the recording in order, of too many every n-th.
Json hitsOf(std::vector<Hit> hits, bool agreeing) {
  std::erase_if(hits, [agreeing](const Hit& hit) { return hit.agrees != agreeing; });
  std::ranges::stable_sort(hits, {}, &Hit::frame);
  const std::size_t step = hits.size() / (kMostHits + 1) + 1;
  auto list = Json::array();
  for (std::size_t i = 0; i < hits.size(); i += step) list.push_back(hitOf(hits[i]));
  return list;
}

Json candidateJson(const char* of, const std::string& name, const std::vector<Hit>& hits) {
  return {{"of", of},
          {"name", name},
          {"agreeing", hitsOf(hits, true)},
          {"others", hitsOf(hits, false)}};
}

}  // namespace

bool Drawing::hasRoom(bool recognised) {
  if (!is_wanted_ || recognised_ || (!hits_.is_null() && !recognised)) return false;
  recognised_ = recognised;
  return true;
}

void Drawing::showHits(const Answer& answer, const FoundHits& found) {
  if (answer.verdict.candidates.empty() || !hasRoom(answer.verdict.recognised)) return;
  const CandidateHits best = leadingHits(question_.features, answer.verdict, found, 0.0, 1).front();
  std::vector<Hit> hits;
  for (const MatchHit& hit : best.hits) {
    const double frame = hit.query / audio::secondsOfFrames(1);
    hits.push_back({static_cast<std::uint32_t>(std::lround(frame)), hit.key, hit.reference,
                    agrees(hit, best)});
  }
  hits_ = candidateJson("references", best.name, hits);
}

void Drawing::showHits(const ChannelAnswer& answer, const std::vector<audio::AudioAttribute>& found,
                       const std::function<std::optional<OnAir>(std::uint32_t)>& on_air) {
  if (answer.candidates.empty() || !hasRoom(answer.recognised)) return;
  const HeardOn& best = answer.candidates.front();
  const std::optional<OnAir> channel = on_air(best.id);
  if (!channel) return;
  std::vector<Hit> hits;
  for (const ChannelHit& hit : hitsOn(*channel, best, question_.features, found)) {
    hits.push_back({hit.feature.startTime, hit.feature.hashKey, hit.seconds_ago, hit.agrees});
  }
  hits_ = candidateJson("channels", best.name, hits);
}

void Drawing::addTo(Json& answer) const {
  if (!is_wanted_) return;
  Json spectrogram;
  auto peaks = Json::array();
  if (question_.sound && question_.outcome == audio::ExtractionOutcome::kFeatures) {
    const SpectrogramAnalysis analysis =
        analyseSound(*question_.sound, "the recording", kMostColumns);
    spectrogram = spectrogramOf(analysis);
    peaks = peaksOf(analysis);
  }
  answer["drawing"] = {{"frame_seconds", audio::secondsOfFrames(1)},
                       {"bin_hertz", audio::kBinHertz},
                       {"spectrogram", std::move(spectrogram)},
                       {"peaks", std::move(peaks)},
                       {"hits", hits_}};
}

}  // namespace audiomatch
