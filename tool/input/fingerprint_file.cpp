#include "tool/input/fingerprint_file.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <system_error>

#include "feature/land_mark.h"
#include "match/database/byte_source.h"
#include "tool/base/errors.h"

namespace audiomatch {
namespace {

constexpr std::string_view kCsvHeading = "startTime,hashKey";
static_assert(kCsvHeading.size() <= kFingerprintStart);
// Bytes of a line; a few hundred hold a feature with what else is told of it.
constexpr std::size_t kLongestLine = 1000;
constexpr std::size_t kBlockSize = std::size_t{1} << 16;

/// An object that begins with a feature's key, unlike those of other files.
bool looksLikeJson(std::string_view bytes) noexcept {
  if (!bytes.starts_with('{')) return false;
  bytes.remove_prefix(std::min(bytes.find_first_not_of(" \t", 1), bytes.size()));
  return bytes.starts_with("\"startTime\"") || bytes.starts_with("\"hashKey\"");
}

/// The next line, without its end, taken from the front of a text.
std::string_view takeLine(std::string_view& text) noexcept {
  const std::size_t end = std::min(text.find('\n'), text.size());
  std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

std::optional<audio::AudioFeature> featureOf(std::uint64_t time, std::uint64_t key) noexcept {
  if (time > UINT32_MAX || key >= audio::kHashKeys) return std::nullopt;
  return audio::AudioFeature{static_cast<std::uint32_t>(time), static_cast<std::uint32_t>(key)};
}

std::optional<audio::AudioFeature> fromJson(std::string_view line) {
  const auto object = nlohmann::json::parse(line, nullptr, false);
  if (!object.is_object()) return std::nullopt;
  const auto time = object.find("startTime");
  const auto key = object.find("hashKey");
  if (time == object.end() || key == object.end()) return std::nullopt;
  if (!time->is_number_unsigned() || !key->is_number_unsigned()) return std::nullopt;
  return featureOf(time->get<std::uint64_t>(), key->get<std::uint64_t>());
}

std::optional<audio::AudioFeature> fromCsv(std::string_view line) noexcept {
  std::uint64_t time = 0;
  std::uint64_t key = 0;
  const char* end = line.data() + line.size();
  const auto first = std::from_chars(line.data(), end, time);
  if (first.ec != std::errc() || first.ptr == end || *first.ptr != ',') return std::nullopt;
  const auto second = std::from_chars(first.ptr + 1, end, key);
  if (second.ec != std::errc() || second.ptr != end) return std::nullopt;
  return featureOf(time, key);
}

Fingerprint parseLines(std::string_view text, const std::filesystem::path& path, std::size_t most) {
  const bool csv = text.starts_with(kCsvHeading);
  Fingerprint fingerprint;
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::string_view line = takeLine(text);
    if (line.empty() || (csv && number == 1 && line == kCsvHeading)) continue;
    const bool fits = line.size() <= kLongestLine;
    const auto feature = !fits ? std::nullopt : csv ? fromCsv(line) : fromJson(line);
    if (!feature) {
      throw FileError(path, fmt::format("line {} isn't a feature: startTime and hashKey, whole "
                                        "numbers, the key below {}",
                                        number, audio::kHashKeys));
    }
    if (fingerprint.features.size() == most) throw tooManyFeatures(most);
    fingerprint.features.push_back(*feature);
  }
  audio::sortUnique(fingerprint.features);
  return fingerprint;
}

/// Appends up to `size` bytes of a file.
void readMore(audio::FileSource& file, std::size_t size, std::string& contents,
              const std::filesystem::path& path) {
  const std::size_t before = contents.size();
  contents.resize(before + size);
  contents.resize(before + file.read(contents.data() + before, size));
  if (file.failed()) throw FileError(path, "can't be read to its end");
}

}  // namespace

bool looksLikeFingerprint(std::string_view bytes) noexcept {
  return bytes.starts_with(kFingerprintMagic) || bytes.starts_with(kFingerprintMagicBase64) ||
         bytes.starts_with(kCsvHeading) || looksLikeJson(bytes);
}

Fingerprint parseFingerprint(std::string_view contents, const std::filesystem::path& path,
                             std::size_t most) {
  std::optional<std::string> bytes(contents);
  if (contents.starts_with(kFingerprintMagicBase64)) bytes = fromBase64(contents);
  if (!bytes) throw FileError(path, "damaged base64");
  if (!bytes->starts_with(kFingerprintMagic)) return parseLines(*bytes, path, most);
  std::string problem;
  std::optional<Fingerprint> fingerprint = decodeFingerprint(*bytes, problem, most);
  if (!fingerprint) throw FileError(path, problem);
  return *std::move(fingerprint);
}

std::optional<Fingerprint> readFingerprint(const std::filesystem::path& path) {
  // What is read of a pipe would be lost to whoever reads it as a recording.
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) return std::nullopt;
  audio::FileSource file(path.c_str());
  if (!file.isOpen()) return std::nullopt;
  std::string contents;
  readMore(file, kFingerprintStart, contents, path);
  if (!looksLikeFingerprint(contents)) return std::nullopt;
  for (std::size_t before = 0; before < contents.size();) {
    before = contents.size();
    readMore(file, kBlockSize, contents, path);
  }
  try {
    return parseFingerprint(contents, path);
  } catch (const std::length_error& problem) {
    throw FileError(path, problem.what());
  }
}

}  // namespace audiomatch
