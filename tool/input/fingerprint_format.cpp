#include "tool/input/fingerprint_format.h"

#include <sodium.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

#include "feature/land_mark.h"

namespace audiomatch {
namespace {

constexpr char kVersion = 1;
constexpr std::size_t kHeadSize = kFingerprintMagic.size() + 1;
constexpr std::size_t kChecksumSize = 4;
// Two differences, of 32 bits and of 20.
constexpr std::size_t kLeastFeatureSize = 2;
constexpr std::size_t kMostFeatureSize = 8;
constexpr std::size_t kBlockSize = std::size_t{1} << 16;
constexpr double kMostSeconds = 1e9;
constexpr int kBase64 = sodium_base64_VARIANT_ORIGINAL;

void appendNumber(std::string& bytes, std::uint64_t number) {
  for (; number >= 0x80; number >>= 7) bytes += static_cast<char>(number | 0x80);
  bytes += static_cast<char>(number);
}

void appendChecksum(std::string& bytes) {
  const auto checksum = static_cast<std::uint32_t>(
      crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size()));
  for (unsigned shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(checksum >> shift);
}

/// Takes numbers from the front of bytes.
class NumberReader {
 public:
  explicit NumberReader(std::string_view bytes) : bytes_(bytes) {}

  /// The next number, at most `most`. After one that is cut, too large or written
  /// in more bytes than it needs, all are 0 and `good` is false.
  std::uint64_t next(std::uint64_t most) noexcept {
    std::uint64_t number = 0;
    for (unsigned shift = 0; good_ && shift < 64; shift += 7) {
      if (bytes_.empty()) break;
      const auto byte = static_cast<unsigned char>(bytes_.front());
      bytes_.remove_prefix(1);
      number |= std::uint64_t{byte & 0x7Fu} << shift;
      if (byte >= 0x80) continue;
      if (number > most || (byte == 0 && shift > 0)) break;
      return number;
    }
    good_ = false;
    return 0;
  }

  bool good() const noexcept { return good_; }
  std::string_view rest() const noexcept { return bytes_; }
  std::size_t left() const noexcept { return bytes_.size(); }

 private:
  std::string_view bytes_;
  bool good_ = true;
};

std::string deflated(const std::string& bytes) {
  uLongf size = compressBound(bytes.size());
  std::string result(size, '\0');
  const int code =
      compress2(reinterpret_cast<Bytef*>(result.data()), &size,
                reinterpret_cast<const Bytef*>(bytes.data()), bytes.size(), Z_BEST_COMPRESSION);
  if (code != Z_OK) throw std::bad_alloc();
  result.resize(size);
  return result;
}

/// What a whole zlib stream holds; nothing for another stream, or when it holds
/// more than `most` bytes. Memory is taken as bytes come.
std::optional<std::string> inflated(std::string_view bytes, std::uint64_t most) {
  z_stream stream{};
  if (inflateInit(&stream) != Z_OK) throw std::bad_alloc();
  const std::unique_ptr<z_stream, int (*)(z_stream*)> end(&stream, inflateEnd);
  // zlib doesn't write to its input, and takes it in one piece up to 4 GiB.
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  if (bytes.size() > std::numeric_limits<uInt>::max()) return std::nullopt;
  stream.avail_in = static_cast<uInt>(bytes.size());
  std::string result;
  int code = Z_OK;
  while (code == Z_OK && result.size() <= most) {
    const std::size_t before = result.size();
    result.resize(before + kBlockSize);
    stream.next_out = reinterpret_cast<Bytef*>(result.data() + before);
    stream.avail_out = kBlockSize;
    code = inflate(&stream, Z_NO_FLUSH);
    result.resize(result.size() - stream.avail_out);
  }
  if (code == Z_MEM_ERROR) throw std::bad_alloc();
  if (code != Z_STREAM_END || stream.avail_in > 0 || result.size() > most) return std::nullopt;
  return result;
}

/// The differences of features that are sorted by time, then key.
std::string differencesOf(const std::vector<audio::AudioFeature>& features) {
  std::string bytes;
  audio::AudioFeature before{0, 0};
  for (const audio::AudioFeature& feature : features) {
    const std::uint32_t step = feature.startTime - before.startTime;
    appendNumber(bytes, step);
    appendNumber(bytes, step == 0 ? feature.hashKey - before.hashKey : feature.hashKey);
    before = feature;
  }
  return bytes;
}

/// Reads so many features that come in their order; false for anything else.
bool readDifferences(NumberReader reader, std::uint64_t count,
                     std::vector<audio::AudioFeature>& features) {
  if (count > reader.left() / kLeastFeatureSize) return false;
  features.reserve(static_cast<std::size_t>(count));
  std::uint32_t time = 0;
  std::uint32_t key = 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    const auto step =
        static_cast<std::uint32_t>(reader.next(std::numeric_limits<std::uint32_t>::max() - time));
    const std::uint32_t from = step == 0 ? key : 0;
    const auto higher = static_cast<std::uint32_t>(reader.next(audio::kHashKeys - 1 - from));
    // Twice the same feature, which the writer leaves out.
    if (i > 0 && step == 0 && higher == 0) return false;
    time += step;
    key = from + higher;
    features.push_back({time, key});
  }
  return reader.good() && reader.left() == 0;
}

}  // namespace

std::length_error tooManyFeatures(std::size_t most) {
  return std::length_error("more than " + std::to_string(most) +
                           " features; cut out the piece you mean");
}

std::string encodeFingerprint(Fingerprint fingerprint) {
  std::vector<audio::AudioFeature>& features = fingerprint.features;
  audio::sortUnique(features);
  if (features.size() > kMostFeatures) throw tooManyFeatures(kMostFeatures);
  std::ranges::sort(features, {}, [](const audio::AudioFeature& feature) {
    return std::pair(feature.startTime, feature.hashKey);
  });
  std::string bytes(kFingerprintMagic);
  bytes += kVersion;
  const double seconds = std::clamp(fingerprint.seconds, 0.0, kMostSeconds);
  appendNumber(bytes, static_cast<std::uint64_t>(std::llround(seconds * 1000.0)));
  appendNumber(bytes, features.size());
  bytes += deflated(differencesOf(features));
  appendChecksum(bytes);
  return bytes;
}

std::optional<Fingerprint> decodeFingerprint(std::string_view bytes, std::string& problem,
                                             std::size_t most) {
  if (!bytes.starts_with(kFingerprintMagic)) {
    problem = "not a fingerprint";
    return std::nullopt;
  }
  if (bytes.size() >= kHeadSize && bytes[kHeadSize - 1] != kVersion) {
    problem = "a fingerprint of another version; make it anew with: audiomatch features --binary";
    return std::nullopt;
  }
  problem = "a damaged fingerprint; make it anew with: audiomatch features --binary";
  if (bytes.size() < kHeadSize + kChecksumSize) return std::nullopt;
  std::string checked(bytes.substr(0, bytes.size() - kChecksumSize));
  const std::size_t size = checked.size();
  appendChecksum(checked);
  // First, so that nothing damaged is unpacked.
  if (checked != bytes) return std::nullopt;
  NumberReader head(bytes.substr(kHeadSize, size - kHeadSize));
  const std::uint64_t milliseconds = head.next(static_cast<std::uint64_t>(kMostSeconds * 1000.0));
  const std::uint64_t count = head.next(kMostFeatures);
  const std::string_view packed = head.rest();
  if (!head.good()) return std::nullopt;
  if (count > most) throw tooManyFeatures(most);
  Fingerprint fingerprint;
  fingerprint.seconds = static_cast<double>(milliseconds) / 1000.0;
  const std::optional<std::string> differences = inflated(packed, count * kMostFeatureSize);
  if (!differences || !readDifferences(NumberReader(*differences), count, fingerprint.features)) {
    return std::nullopt;
  }
  audio::sortUnique(fingerprint.features);
  problem.clear();
  return fingerprint;
}

std::string toBase64(std::string_view bytes) {
  // With the zero that ends it.
  std::string text(sodium_base64_encoded_len(bytes.size(), kBase64), '\0');
  sodium_bin2base64(text.data(), text.size(), reinterpret_cast<const unsigned char*>(bytes.data()),
                    bytes.size(), kBase64);
  text.pop_back();
  return text;
}

std::optional<std::string> fromBase64(std::string_view text) {
  std::string bytes(text.size() / 4 * 3 + 3, '\0');
  std::size_t size = 0;
  const int failed =
      sodium_base642bin(reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(), text.data(),
                        text.size(), " \t\r\n", &size, nullptr, kBase64);
  if (failed != 0) return std::nullopt;
  bytes.resize(size);
  return bytes;
}

}  // namespace audiomatch
