#include "tool/verbs/timeline_plot.h"

#include <fmt/core.h>

#include <algorithm>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tool/output/display_text.h"
#include "tool/output/progress.h"
#include "tool/output/text.h"
#include "tool/picture/labels.h"
#include "tool/picture/picture_file.h"
#include "tool/picture/timeline_picture.h"
#include "tool/recognition/listening.h"
#include "tool/store/open_store.h"

namespace audiomatch {
namespace {

TimelineSpan spanOf(const Heard& heard) {
  using Kind = TimelineSpan::Kind;
  const Kind kind = heard.kind == Heard::Kind::kRecognised ? Kind::kRecognised
                    : heard.kind == Heard::Kind::kSilence  ? Kind::kSilence
                                                           : Kind::kUnknown;
  return {heard.from, heard.to, kind, heard.name, heard.position, heard.surest.agreeing};
}

std::size_t namesIn(const std::vector<TimelineSpan>& spans) {
  std::set<std::string> names;
  for (const TimelineSpan& span : spans) {
    if (span.kind == TimelineSpan::Kind::kRecognised) names.insert(span.name);
  }
  return names.size();
}

double recognisedSeconds(const std::vector<TimelineSpan>& spans) {
  double seconds = 0.0;
  double end = 0.0;  // spans may overlap; they come in order of their beginnings
  for (const TimelineSpan& span : spans) {
    if (span.kind != TimelineSpan::Kind::kRecognised) continue;
    seconds += std::max(span.to - std::max(span.from, end), 0.0);
    end = std::max(end, span.to);
  }
  return seconds;
}

/// Listens to the recording, and puts down what is heard.
TimelinePicture pictureOf(SoundSource& source, const References& references,
                          const Thresholds& thresholds) {
  const Listening listening{.grid = {},
                            .thresholds = thresholds,
                            .jobs = std::max(std::thread::hardware_concurrency(), 1u)};
  TimelinePicture picture{.title = {},
                          .subtitle = {},
                          .from = 0.0,
                          .to = 0.0,
                          .threshold = thresholds.agreeing,
                          .spans = {},
                          .windows = {}};
  Progress progress =
      Progress::ofSound(true, static_cast<double>(source.promisedFrames()) / source.sampleRate());
  listen(
      source, references, listening,
      [&](const Heard& heard) { picture.spans.push_back(spanOf(heard)); },
      [&](const HeardSoFar& heard) {
        const bool recognised = heard.now.kind == Heard::Kind::kRecognised;
        picture.windows.push_back({heard.window.from, heard.window.to, heard.agreeing, recognised});
        picture.to = heard.window.to;
        progress.reach(heard.window.to);
        return true;
      });
  return picture;
}

}  // namespace

ExitCode plotTimeline(const PlotRequest& plot, const std::filesystem::path& database_file,
                      const Thresholds& thresholds) {
  checkPictureFile(plot.picture);
  const std::unique_ptr<const References> database = openReferences(database_file);
  const auto source = openSound(plot.file, plot.sound);
  TimelinePicture picture = pictureOf(*source, *database, thresholds);
  if (picture.windows.empty()) throw FileError(plot.file, "holds no sound");
  const std::size_t names = namesIn(picture.spans);
  const double recognised = recognisedSeconds(picture.spans);
  picture.title = plot.file.filename().string();
  picture.subtitle = fmt::format("{} of {} recognised: {} of the database's recordings",
                                 clockTime(recognised), clockTime(picture.to), names);
  writePicture(plot.picture, drawTimeline(picture, plot.format));
  if (plot.json) {
    fmt::print("{}", jsonLine({{"picture", plot.picture.string()},
                               {"seconds", picture.to},
                               {"recognised", recognised},
                               {"names", names}}));
  } else {
    fmt::print("{}: {}\n", printable(plot.picture.string()), picture.subtitle);
  }
  return reportDamage(plot.file, source->damage());
}

}  // namespace audiomatch
