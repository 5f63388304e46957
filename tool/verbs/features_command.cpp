#include <fmt/core.h>

#include <filesystem>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "feature/audio_feature.h"
#include "feature/feature_extractor.h"
#include "tool/base/errors.h"
#include "tool/input/recording.h"
#include "tool/output/text.h"
#include "tool/verbs/commands.h"
#include "tool/verbs/feature_listing.h"
#include "tool/verbs/spectrogram_plot.h"

namespace audiomatch {
namespace {

constexpr const char* kFeaturesHelp =
    "Lists the features of all four passes, as a recording to be matched has them. What is\n"
    "written with --binary, --base64, --csv or --json can be matched in its place. With\n"
    "--single-pass they are those that the recording would have in a database. --picture is an\n"
    "older way to say: audiomatch plot FILE -o PNG, which draws the first pass.\n\n";

struct FeaturesOptions {
  CommonOptions common;
  SoundOptions sound;
  std::filesystem::path file;
  bool single_pass = false;
  bool csv = false;
  std::filesystem::path binary;
  bool base64 = false;
  std::filesystem::path picture;
  Stretch stretch{0.0, 30.0};
};

/// The one form asked for. Throws UsageError.
FeatureForm formOf(const FeaturesOptions& options) {
  const bool other = options.common.json || !options.picture.empty();
  if (options.csv + options.base64 + !options.binary.empty() + other > 1) {
    throw UsageError("--csv, --binary and --base64 go alone, without --json and --picture");
  }
  using Kind = FeatureForm::Kind;
  if (options.common.json) return {Kind::kJson};
  if (options.csv) return {Kind::kCsv};
  if (options.base64) return {Kind::kBase64};
  if (!options.binary.empty()) return {Kind::kBinary, options.binary};
  return {};
}

ExitCode list(const FeaturesOptions& options, const FeatureForm& form) {
  const Recording recording = readRecording(options.file, options.sound);
  audio::FeatureExtractor extractor;
  if (!extractor.init(options.single_pass) || !extractor.loadAudio(recording.audio.get())) {
    throw std::bad_alloc();
  }
  if (!extractor.extractFeatures()) {
    throw FileError(options.file, describe(extractor.outcome()));
  }
  const double seconds = 1.0 * recording.audio->dataLen() / recording.audio->sampleRate();
  std::vector<audio::AudioFeature> features = extractor.getFeatures();
  audio::sortUnique(features);
  writeFeatures({std::move(features), seconds}, form);
  return reportDamage(options.file, recording.damage);
}

ExitCode runFeatures(const FeaturesOptions& options) {
  applyCommonOptions(options.common);
  const FeatureForm form = formOf(options);
  if (options.picture.empty()) return list(options, form);
  SoundOptions sound = options.sound;
  sound.to_mono = false;  // as plot has it
  return plotSpectrogram(
      {options.file, sound, options.picture, PictureFormat::kPng, options.common.json},
      options.stretch);
}

}  // namespace

void addFeaturesCommand(const Command& app, Action& action) {
  auto options = std::make_shared<FeaturesOptions>();
  const Command command = app.subcommand("features", "List or draw a recording's fingerprint");
  command.argument("FILE", options->file, "Recording").required();
  command.flag("--single-pass", options->single_pass,
               "The features of the first pass only, as a reference has them");
  command.flag("--csv", options->csv, "Print CSV, with a line of headings");
  command.option("--binary", options->binary, "Write a fingerprint for match; - is standard output")
      .valueName("FILE");
  command.flag("--base64", options->base64, "Print a fingerprint for match as base64");
  const Option picture =
      command.option("--picture", options->picture, "Draw a PNG instead of listing the features");
  picture.valueName("PNG");
  command.option("--from", options->stretch.from, "Second at which the picture starts")
      .needs(picture)
      .check(between(0.0, 1e6))
      .valueName("S");
  command.option("--seconds", options->stretch.seconds, "Seconds it shows (default 30)")
      .needs(picture)
      .check(between(0.1, 600.0))
      .valueName("S");
  addSoundOptions(command, options->sound);
  addExactOption(command, options->sound);
  addCommonOptions(command, options->common, "Print JSON, an object a line, instead of a table");
  command.footer(std::string(kFeaturesHelp) + kExitCodesHelp);
  runWhenParsed(command, action, [options] { return runFeatures(*options); });
}

}  // namespace audiomatch
