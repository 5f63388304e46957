#include "tool/verbs/feature_listing.h"

#include <fmt/core.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "base/analysis_grid.h"
#include "feature/land_mark.h"
#include "tool/base/errors.h"
#include "tool/input/fingerprint_file.h"
#include "tool/keeping/atomic_file.h"
#include "tool/keeping/replaceable.h"
#include "tool/output/table.h"
#include "tool/output/text.h"

namespace audiomatch {
namespace {

void printTable(const std::vector<audio::AudioFeature>& features) {
  using Align = TableColumn::Align;
  Table table;
  for (const char* heading : {"TIME s", "KEY", "ANCHOR Hz", "DISTANCE Hz", "DELTA s"}) {
    table.addColumn(heading, Align::kRight);
  }
  for (const audio::AudioFeature& feature : features) {
    const audio::LandMark mark = audio::landMarkOfHash(feature.hashKey);
    table.addRow({fmt::format("{:.3f}", audio::secondsOfFrames(feature.startTime)),
                  std::to_string(feature.hashKey),
                  fmt::format("{:.3f}", mark.anchorFreq * audio::kBinHertz),
                  fmt::format("{:+.3f}", (mark.targetFreq - mark.anchorFreq) * audio::kBinHertz),
                  fmt::format("{:.3f}", audio::secondsOfFrames(mark.deltaTime))});
  }
  fmt::print("{}", table.text());
}

void printJson(const std::vector<audio::AudioFeature>& features) {
  for (const audio::AudioFeature& feature : features) {
    fmt::print("{}", jsonLine({{"startTime", feature.startTime}, {"hashKey", feature.hashKey}}));
  }
}

void printCsv(const std::vector<audio::AudioFeature>& features) {
  fmt::print("startTime,hashKey\n");
  for (const audio::AudioFeature& feature : features) {
    fmt::print("{},{}\n", feature.startTime, feature.hashKey);
  }
}

void writeBinary(const std::string& bytes, const std::filesystem::path& path) {
  if (path != "-") {
    checkReplaceableBy(path, "fingerprint", looksLikeFingerprint);
    AtomicFile file(path);
    file.write(bytes.data(), bytes.size());
    return file.commit();
  }
  if (isatty(STDOUT_FILENO)) {
    throw UsageError("a terminal can't show --binary; give it a file, or use --base64");
  }
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}

}  // namespace

void writeFeatures(const Fingerprint& fingerprint, const FeatureForm& form) {
  switch (form.kind) {
    case FeatureForm::Kind::kTable:
      return printTable(fingerprint.features);
    case FeatureForm::Kind::kJson:
      return printJson(fingerprint.features);
    case FeatureForm::Kind::kCsv:
      return printCsv(fingerprint.features);
    case FeatureForm::Kind::kBinary:
      return writeBinary(encodeFingerprint(fingerprint), form.file);
    case FeatureForm::Kind::kBase64:
      fmt::print("{}\n", toBase64(encodeFingerprint(fingerprint)));
  }
}

}  // namespace audiomatch
