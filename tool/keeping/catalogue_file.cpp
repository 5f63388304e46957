#include "tool/keeping/catalogue_file.h"

#include <fmt/core.h>

#include <cstring>
#include <nlohmann/json.hpp>

#include "match/database/byte_source.h"
#include "tool/output/text.h"

namespace audiomatch {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kFormat = "audiomatch-catalogue";
constexpr int kVersion = 1;
constexpr std::size_t kLongestLine = std::size_t{1} << 20;

/// Names and paths are bytes: text where they are UTF-8, else a list of numbers.
Json fromBytes(const std::string& bytes) {
  if (validUtf8(bytes) == bytes) return bytes;
  return std::vector<std::uint8_t>(bytes.begin(), bytes.end());
}

std::string toBytes(const Json& value) {
  if (value.is_string()) return value.get<std::string>();
  const auto bytes = value.get<std::vector<std::uint8_t>>();
  return {bytes.begin(), bytes.end()};
}

template <typename Value>
std::optional<Value> optionalAt(const Json& line, const char* key) {
  return line.contains(key) ? std::optional(line.at(key).get<Value>()) : std::nullopt;
}

/// Throws Json::exception for a line that is something else.
KeptRecording recordingOf(const Json& line) {
  KeptRecording recording;
  recording.name = toBytes(line.at("name"));
  recording.parts = line.at("parts").get<std::size_t>();
  recording.seconds = optionalAt<double>(line, "seconds");
  recording.entries = optionalAt<std::uint64_t>(line, "entries");
  if (line.contains("file")) recording.file = toBytes(line.at("file"));
  recording.bytes = optionalAt<std::uint64_t>(line, "bytes");
  return recording;
}

Json lineOf(const KeptRecording& recording) {
  Json line{{"name", fromBytes(recording.name)}, {"parts", recording.parts}};
  if (recording.seconds) line["seconds"] = *recording.seconds;
  if (recording.entries) line["entries"] = *recording.entries;
  if (!recording.file.empty()) line["file"] = fromBytes(recording.file.native());
  if (recording.bytes) line["bytes"] = *recording.bytes;
  return line;
}

/// The lines of a file, one at a time.
class Lines {
 public:
  explicit Lines(audio::ByteSource& source) : source_(source) {}

  /// Replaces `line`. False at the end, and at a line that is too long to be one.
  bool next(std::string& line) {
    std::size_t searched = 0;
    std::size_t end = 0;
    while ((end = held_.find('\n', searched)) == std::string::npos) {
      searched = held_.size();
      char piece[1 << 16];
      const std::size_t size = source_.read(piece, sizeof piece);
      if (size == 0 || held_.size() > kLongestLine) break;
      held_.append(piece, size);
    }
    if (end == std::string::npos) {
      line = std::exchange(held_, {});
      return !line.empty() && line.size() <= kLongestLine;
    }
    line = held_.substr(0, end);
    held_.erase(0, end + 1);
    return true;
  }

 private:
  audio::ByteSource& source_;
  std::string held_;
};

bool isHeading(const std::string& line) {
  const Json heading = Json::parse(line, nullptr, false);
  return heading.is_object() && heading.value("format", Json()) == kFormat &&
         heading.value("version", Json()) == kVersion;
}

}  // namespace

std::filesystem::path catalogueFileOf(const std::filesystem::path& database) {
  std::filesystem::path file = database;
  return file += ".catalogue.json";
}

CatalogueFile readCatalogueFile(const std::filesystem::path& database) {
  CatalogueFile catalogue;
  const std::filesystem::path place = catalogueFileOf(database);
  std::error_code error;
  // Reading a pipe would wait for a writer.
  if (std::filesystem::exists(place, error) && !std::filesystem::is_regular_file(place, error)) {
    catalogue.exists = true;
    catalogue.problem = "isn't a file";
    return catalogue;
  }
  audio::FileSource file(place.c_str());
  if (!file.isOpen()) {
    catalogue.exists = file.openingError() != ENOENT;
    if (catalogue.exists) catalogue.problem = std::strerror(file.openingError());
    return catalogue;
  }
  catalogue.exists = true;
  Lines lines(file);
  std::string line;
  if (!lines.next(line) || !isHeading(line)) {
    catalogue.problem = "its first line is none of a catalogue that this version reads";
    return catalogue;
  }
  for (std::size_t number = 2; lines.next(line); ++number) {
    try {
      catalogue.recordings.push_back(recordingOf(Json::parse(line)));
    } catch (const Json::exception&) {
      if (catalogue.problem.empty()) catalogue.problem = fmt::format("line {} is damaged", number);
    }
  }
  if (file.failed() && catalogue.problem.empty()) catalogue.problem = "can't be read to its end";
  return catalogue;
}

std::string catalogueText(const std::vector<KeptRecording>& recordings) {
  std::string text = Json{{"format", kFormat}, {"version", kVersion}}.dump() + '\n';
  for (const KeptRecording& recording : recordings) text += lineOf(recording).dump() + '\n';
  return text;
}

}  // namespace audiomatch
