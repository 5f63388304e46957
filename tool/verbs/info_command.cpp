#include <fmt/core.h>

#include <memory>

#include "base/analysis_grid.h"
#include "feature/land_mark.h"
#include "match/database/packed_entry.h"
#include "tool/keeping/bucket_sizes.h"
#include "tool/keeping/catalogue.h"
#include "tool/keeping/database_file.h"
#include "tool/output/table.h"
#include "tool/output/text.h"
#include "tool/verbs/commands.h"
#include "tool/verbs/shared_options.h"

namespace audiomatch {
namespace {

constexpr const char* kInfoHelp =
    "Seconds are those of the recordings whose length the catalogue, DB.catalogue.json, tells.\n"
    "Of the fullest buckets the landmark is given: its anchor's frequency, how far from that its\n"
    "target lies, and how long after it.\n\n";

constexpr double kQuantiles[] = {0.5, 0.9, 0.99, 0.999, 1.0};

struct InfoOptions {
  CommonOptions common;
  std::filesystem::path database;
};

struct Info {
  std::size_t audios = 0;
  std::size_t recordings = 0;
  std::size_t timed = 0;  ///< recordings whose seconds are known
  double seconds = 0.0;
  std::uint64_t entries = 0;   ///< without those of the background
  std::size_t background = 0;  ///< audios beside the others
  std::uint64_t bytes = 0;
  BucketSizes buckets;
};

Info read(const std::filesystem::path& database) {
  DatabaseFile file(database);
  Info info;
  Catalogue catalogue = loadCatalogue(database, file.names());
  std::vector<std::uint64_t> entries_of(file.names().size());
  std::vector<std::uint64_t> bucket;
  for (std::uint32_t key = 0; file.nextBucket(bucket); ++key) {
    for (const std::uint64_t entry : bucket) ++entries_of[audio::entryAudioIndex(entry)];
    info.buckets.add(key, bucket.size());
  }
  catalogue.countEntries(entries_of);
  for (const KeptRecording& recording : catalogue.recordings()) {
    info.entries += *recording.entries;
    info.timed += recording.seconds ? 1 : 0;
    info.seconds += recording.seconds.value_or(0.0);
  }
  info.audios = catalogue.audioCount();
  info.background = catalogue.background().size();
  info.recordings = catalogue.recordings().size();
  info.bytes = file.bytes();
  return info;
}

void printText(const Info& info) {
  fmt::print("recordings  {}\naudios      {}\nseconds     {:.1f}", info.recordings, info.audios,
             info.seconds);
  if (info.timed < info.recordings) fmt::print(" ({} recordings)", info.timed);
  fmt::print("\nentries     {}\n", info.entries);
  if (info.background > 0) fmt::print("background  {} audios\n", info.background);
  fmt::print("bytes       {}\n\nbuckets     {} are empty\n", info.bytes, info.buckets.empty());
  for (const double share : kQuantiles) {
    fmt::print("            {:5.1f} % have up to {} entries\n", 100 * share,
               info.buckets.quantile(share));
  }
  Table table;
  for (const char* heading : {"KEY", "ENTRIES", "ANCHOR Hz", "DISTANCE Hz", "DELTA s"}) {
    table.addColumn(heading, Table::Align::kRight);
  }
  for (const BucketSizes::Bucket& bucket : info.buckets.fullest()) {
    const audio::LandMark mark = audio::landMarkOfHash(bucket.key);
    table.addRow({std::to_string(bucket.key), std::to_string(bucket.entries),
                  fmt::format("{:.3f}", mark.anchorFreq * audio::kBinHertz),
                  fmt::format("{:+.3f}", (mark.targetFreq - mark.anchorFreq) * audio::kBinHertz),
                  fmt::format("{:.3f}", audio::secondsOfFrames(mark.deltaTime))});
  }
  fmt::print("\n{}", table.text());
}

void printJson(const std::filesystem::path& database, const Info& info) {
  using Json = nlohmann::ordered_json;
  Json quantiles = Json::array();
  for (const double share : kQuantiles) {
    quantiles.push_back({{"share", share}, {"entries", info.buckets.quantile(share)}});
  }
  Json fullest = Json::array();
  for (const BucketSizes::Bucket& bucket : info.buckets.fullest()) {
    const audio::LandMark mark = audio::landMarkOfHash(bucket.key);
    fullest.push_back({{"hashKey", bucket.key},
                       {"entries", bucket.entries},
                       {"anchorHertz", mark.anchorFreq * audio::kBinHertz},
                       {"distanceHertz", (mark.targetFreq - mark.anchorFreq) * audio::kBinHertz},
                       {"deltaSeconds", audio::secondsOfFrames(mark.deltaTime)}});
  }
  fmt::print("{}", jsonLine({{"database", database.string()},
                             {"audios", info.audios},
                             {"entries", info.entries},
                             {"background", info.background},
                             {"bytes", info.bytes},
                             {"recordings", info.recordings},
                             {"seconds", info.seconds},
                             {"timedRecordings", info.timed},
                             {"emptyBuckets", info.buckets.empty()},
                             {"bucketSizes", quantiles},
                             {"fullestBuckets", fullest}}));
}

ExitCode runInfo(const InfoOptions& options) {
  applyCommonOptions(options.common);
  const Info info = read(options.database);
  options.common.json ? printJson(options.database, info) : printText(info);
  return ExitCode::kSuccess;
}

}  // namespace

void addInfoCommand(const Command& app, Action& action) {
  auto options = std::make_shared<InfoOptions>();
  const Command command = app.subcommand("info", "Give a database's size and how it is filled");
  addDatabaseArgument(command, options->database, "Database");
  addCommonOptions(command, options->common, "Print JSON, an object, instead of text");
  command.footer(std::string(kInfoHelp) + kExitCodesHelp);
  runWhenParsed(command, action, [options] { return runInfo(*options); });
}

}  // namespace audiomatch
