#include <fmt/core.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>

#include "tool/base/errors.h"
#include "tool/base/interrupt.h"
#include "tool/input/recording.h"
#include "tool/output/display_text.h"
#include "tool/output/text.h"
#include "tool/picture/labels.h"
#include "tool/picture/match_hits.h"
#include "tool/picture/match_picture.h"
#include "tool/picture/picture_file.h"
#include "tool/recognition/recogniser.h"
#include "tool/recognition/verdict.h"
#include "tool/store/open_store.h"
#include "tool/verbs/commands.h"
#include "tool/verbs/shared_options.h"
#include "tool/verbs/spectrogram_plot.h"
#include "tool/verbs/timeline_plot.h"

namespace audiomatch {
namespace {

constexpr const char* kPlotHelp =
    "Without --match, draws what the engine sees: the spectrogram and, up to a minute, its peaks\n"
    "as dots and landmarks, the pairs of peaks that features are made of, as lines; of longer\n"
    "recordings how many landmarks there are in a second.\n"
    "With --match, draws the features that a recording has in common with the three best\n"
    "candidates. Where they come from the same sound they lie on a rising line.\n"
    "With --timeline, draws what is heard from when to when, in a recording of any length, and\n"
    "how many features agree.\n"
    "A file that is there already is replaced if it is empty or a picture.\n\n";

// Of a query, in seconds.
constexpr double kDefaultQuery = 60.0;
constexpr double kLongestQuery = 600.0;
constexpr std::size_t kCandidatesShown = 3;

struct PlotOptions {
  CommonOptions common;
  SoundOptions sound;
  Thresholds thresholds = kThresholds;
  std::filesystem::path file;
  std::filesystem::path picture;
  std::filesystem::path database;
  std::filesystem::path timeline_database;
  bool stretch_given = false;
  Stretch stretch{0.0, std::numeric_limits<double>::infinity()};
};

std::string verdictText(const Answer& answer) {
  const Candidate& best = answer.verdict.candidates[0];
  return fmt::format("{}: {} of {} hits agree \u00b7 discrimination {:.2f} \u00b7 from {}",
                     answer.verdict.recognised ? "recognised" : "best is " + best.name,
                     countText(static_cast<std::uint64_t>(best.agreeing)),
                     countText(static_cast<std::uint64_t>(best.hits)),
                     answer.verdict.discrimination, clockTime(best.position()));
}

/// The name that the recording was recognised by, or that it wasn't.
std::string answerText(const Answer& answer) {
  return answer.verdict.recognised ? answer.verdict.candidates[0].name : "not recognised";
}

MatchPicture pictureOf(const PlotOptions& options, const Stretch& query,
                       const Recogniser& recogniser, const Answer& answer) {
  return {options.file.filename().string() + ": " + answerText(answer),
          verdictText(answer),
          query.from,
          query.seconds,
          answer.verdict.recognised,
          leadingHits(recogniser.features(), answer.verdict, recogniser.found(), query.from,
                      kCandidatesShown)};
}

void printMatch(const PlotOptions& options, const Stretch& query, const Answer& answer) {
  const Candidate& best = answer.verdict.candidates[0];
  if (options.common.json) {
    fmt::print("{}", jsonLine({{"picture", options.picture.string()},
                               {"from", query.from},
                               {"seconds", query.seconds},
                               {"recognised", answer.verdict.recognised},
                               {"name", best.name},
                               {"agreeing", best.agreeing},
                               {"hits", best.hits}}));
  } else {
    fmt::print("{}: {}; {}\n", printable(options.picture.string()), printable(answerText(answer)),
               verdictText(answer));
  }
}

/// The stretch that is matched: a minute, unless it is said which.
Stretch queryOf(const Stretch& stretch) {
  if (std::isinf(stretch.seconds)) return {stretch.from, kDefaultQuery};
  if (stretch.seconds <= kLongestQuery) return stretch;
  throw UsageError(fmt::format("with --match, --seconds is at most {:.0f}", kLongestQuery));
}

ExitCode plotMatch(const PlotOptions& options, PictureFormat format) {
  Stretch query = queryOf(options.stretch);
  checkPictureFile(options.picture);
  const std::unique_ptr<const References> database = openReferences(options.database);
  const Recording recording = readStretch(options.file, query, options.sound);
  query.seconds = static_cast<double>(recording.audio->dataLen()) / recording.audio->sampleRate();
  Recogniser recogniser(*database, options.thresholds);
  const Answer answer = recogniser.recognise(*recording.audio);
  if (answer.is_silent) throw FileError(options.file, "is silent: there is nothing to draw");
  if (!answer.problem.empty()) throw FileError(options.file, answer.problem);
  writePicture(options.picture, drawMatch(pictureOf(options, query, recogniser, answer), format));
  printMatch(options, query, answer);
  return reportDamage(options.file, recording.damage);
}

ExitCode runPlot(const PlotOptions& options) {
  applyCommonOptions(options.common);
  const PictureFormat format = formatOfName(options.picture);
  if (!options.timeline_database.empty() && options.stretch_given) {
    throw UsageError("--timeline draws the whole recording, without --from and --seconds");
  }
  const InterruptGuard guard;
  const PlotRequest plot{options.file, options.sound, options.picture, format, options.common.json};
  if (!options.timeline_database.empty()) {
    return plotTimeline(plot, options.timeline_database, options.thresholds);
  }
  if (!options.database.empty()) return plotMatch(options, format);
  return plotSpectrogram(plot, options.stretch);
}

}  // namespace

void addPlotCommand(const Command& app, Action& action) {
  auto options = std::make_shared<PlotOptions>();
  const Command command = app.subcommand("plot", "Draw what the engine sees of a recording");
  command.argument("FILE", options->file, "Recording").required();
  command.option("-o,--output", options->picture, "Picture: a name in .png, .svg or .pdf")
      .required()
      .valueName("PICTURE");
  const Option from =
      command.option("--from", options->stretch.from, "Second at which the picture starts")
          .check(between(0.0, 1e6))
          .valueName("S");
  const Option seconds = command
                             .option("--seconds", options->stretch.seconds,
                                     "Seconds it shows (default all; with --match 60)")
                             .check(between(0.1, 1e6))
                             .valueName("S");
  const Option match = command
                           .option("--match", options->database,
                                   "Draw its hits in a database, or redis://HOST:PORT, instead")
                           .valueName("DB");
  command
      .option("--timeline", options->timeline_database,
              "Draw when which recording of a database, or of redis://HOST:PORT, is heard "
              "instead")
      .valueName("DB")
      .excludes(match);
  addThresholdOptions(command, options->thresholds);
  addSoundOptions(command, options->sound);
  addCommonOptions(command, options->common, "Print JSON, an object a line, instead of a line");
  command.footer(std::string(kPlotHelp) + kExitCodesHelp);
  command.whenParsed([=, &action] {
    options->stretch_given = from.isGiven() || seconds.isGiven();
    action = [options] { return runPlot(*options); };
  });
}

}  // namespace audiomatch
