#include <fmt/core.h>

#include <filesystem>
#include <memory>
#include <new>

#include "base/analysis_grid.h"
#include "feature/feature_extractor.h"
#include "feature/land_mark.h"
#include "tool/base/errors.h"
#include "tool/input/recording.h"
#include "tool/output/text.h"
#include "tool/verbs/commands.h"
#include "tool/verbs/spectrogram_plot.h"

namespace audiomatch {
namespace {

constexpr const char* kFeaturesHelp =
    "Lists the features of all four passes, as a recording to be matched has them. --picture is\n"
    "an older way to say: audiomatch plot FILE -o PNG, which draws the first pass.\n\n";

struct FeaturesOptions {
  CommonOptions common;
  SoundOptions sound;
  std::filesystem::path file;
  std::filesystem::path picture;
  Stretch stretch{0.0, 30.0};
};

void printTable(const std::vector<audio::AudioFeature>& features) {
  fmt::print("{:>9}  {:>7}  {:>9}  {:>11}  {:>7}\n", "TIME s", "KEY", "ANCHOR Hz", "DISTANCE Hz",
             "DELTA s");
  for (const audio::AudioFeature& feature : features) {
    const audio::LandMark mark = audio::landMarkOfHash(feature.hashKey);
    fmt::print("{:>9.3f}  {:>7}  {:>9.3f}  {:>+11.3f}  {:>7.3f}\n",
               audio::secondsOfFrames(feature.startTime), feature.hashKey,
               mark.anchorFreq * audio::kBinHertz,
               (mark.targetFreq - mark.anchorFreq) * audio::kBinHertz,
               audio::secondsOfFrames(mark.deltaTime));
  }
}

void printJson(const std::vector<audio::AudioFeature>& features) {
  for (const audio::AudioFeature& feature : features) {
    fmt::print("{}", jsonLine({{"startTime", feature.startTime}, {"hashKey", feature.hashKey}}));
  }
}

ExitCode list(const FeaturesOptions& options) {
  const Recording recording = readRecording(options.file, options.sound);
  audio::FeatureExtractor extractor;
  if (!extractor.init(false) || !extractor.loadAudio(recording.audio.get())) throw std::bad_alloc();
  if (!extractor.extractFeatures()) {
    throw FileError(options.file, describe(extractor.outcome()));
  }
  options.common.json ? printJson(extractor.getFeatures()) : printTable(extractor.getFeatures());
  return reportDamage(options.file, recording.damage);
}

ExitCode runFeatures(const FeaturesOptions& options) {
  applyCommonOptions(options.common);
  if (options.picture.empty()) return list(options);
  return plotSpectrogram(
      {options.file, options.stretch, options.sound, options.picture, PictureFormat::kPng},
      options.common.json);
}

}  // namespace

void addFeaturesCommand(CLI::App& app, Action& action) {
  auto options = std::make_shared<FeaturesOptions>();
  CLI::App* command = app.add_subcommand("features", "List or draw a recording's fingerprint");
  command->add_option("FILE", options->file, "Recording")->required()->type_name("");
  CLI::Option* picture = command->add_option("--picture", options->picture,
                                             "Draw a PNG instead of listing the features");
  picture->type_name("PNG");
  command->add_option("--from", options->stretch.from, "Second at which the picture starts")
      ->needs(picture)
      ->check(between(0.0, 1e6))
      ->type_name("S");
  command->add_option("--seconds", options->stretch.seconds, "Seconds it shows (default 30)")
      ->needs(picture)
      ->check(between(0.1, 600.0))
      ->type_name("S");
  addSoundOptions(*command, options->sound);
  addCommonOptions(*command, options->common, "Print JSON, an object a line, instead of a table");
  command->footer(std::string(kFeaturesHelp) + kExitCodesHelp);
  command->callback([options, &action] { action = [options] { return runFeatures(*options); }; });
}

}  // namespace audiomatch
