#include "tool/input/fingerprint_file.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <limits>
#include <string>
#include <utility>

#include "tests/tool/tool_files.h"
#include "tool/base/errors.h"

namespace audiomatch {
namespace {

constexpr std::uint32_t kLastTime = std::numeric_limits<std::uint32_t>::max();

/// Features of all kinds: the same key at several times, the least and the most.
Fingerprint someFingerprint() {
  return {{{0, 0}, {7, 0}, {kLastTime, 0}, {300, 5}, {2, 6}, {2, 700}, {kLastTime, 0xFFFFF}},
          10.25};
}

std::string bytesOf(std::initializer_list<int> bytes) { return {bytes.begin(), bytes.end()}; }

std::string csvOf(const Fingerprint& fingerprint) {
  std::string text = "startTime,hashKey\r\n";
  for (const audio::AudioFeature& feature : fingerprint.features) {
    text += std::to_string(feature.startTime) + ',' + std::to_string(feature.hashKey) + "\r\n";
  }
  return text;
}

std::string jsonOf(const Fingerprint& fingerprint) {
  std::string text;
  for (const audio::AudioFeature& feature : fingerprint.features) {
    text = R"({"hashKey":)" + std::to_string(feature.hashKey) + R"(,"startTime":)" +
           std::to_string(feature.startTime) + ",\"version\":1}\n" + text;
  }
  return text;
}

TEST(FingerprintFormat, IsWhatItsDocumentSays) {
  // The document's example, packed and summed up by zlib from another language.
  const std::string bytes =
      bytesOf({0x41, 0x4D, 0x46, 0x50, 0x01, 0xDC, 0x0B, 0x03, 0x78, 0xDA, 0x63, 0x64, 0x65, 0x7C,
               0xC1, 0xBE, 0x8A, 0x89, 0x15, 0x00, 0x06, 0xE4, 0x01, 0xA8, 0x6F, 0x0C, 0x1E, 0xD2});
  const Fingerprint fingerprint{{{1, 5}, {300, 5}, {2, 1000}}, 1.5};
  std::string problem;
  EXPECT_EQ(decodeFingerprint(bytes, problem), fingerprint) << problem;
  EXPECT_EQ(fromBase64("QU1GUAHcCwN42mNkZXzBvoqJFQAG5AGobwwe0g=="), bytes);
  // What another release of zlib may pack differently begins alike.
  EXPECT_EQ(encodeFingerprint(fingerprint).substr(0, 8), bytes.substr(0, 8));
}

TEST(FingerprintFile, GivesBackWhatEachFormHolds) {
  const testing_support::TemporaryFolder folder;
  const Fingerprint fingerprint = someFingerprint();
  const Fingerprint without_length{fingerprint.features, 0.0};
  Fingerprint reversed = fingerprint;
  std::ranges::reverse(reversed.features);
  const std::string bytes = encodeFingerprint(reversed);
  for (const auto& [contents, expected] :
       {std::pair{bytes, fingerprint}, std::pair{toBase64(bytes) + '\n', fingerprint},
        std::pair{csvOf(fingerprint), without_length},
        std::pair{jsonOf(fingerprint), without_length},
        std::pair{encodeFingerprint({}), Fingerprint{}}}) {
    std::ofstream(folder / "f", std::ios::binary) << contents;
    EXPECT_EQ(readFingerprint(folder / "f"), expected);
  }
  for (const char* other : {"", "RIFF", "AMF", "startTime;hashKey"}) {
    std::ofstream(folder / "f", std::ios::binary) << other;
    EXPECT_EQ(readFingerprint(folder / "f"), std::nullopt) << other;
  }
  EXPECT_EQ(readFingerprint(folder / "."), std::nullopt);
  EXPECT_EQ(readFingerprint(folder / "none"), std::nullopt);
}

TEST(FingerprintFormat, RefusesEveryDamage) {
  const std::string bytes = encodeFingerprint(someFingerprint());
  std::string problem;
  ASSERT_EQ(decodeFingerprint(bytes, problem), someFingerprint());
  EXPECT_EQ(problem, "");
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    for (int wrong = 1; wrong < 256; ++wrong) {
      std::string damaged = bytes;
      damaged[i] = static_cast<char>(damaged[i] ^ wrong);
      EXPECT_EQ(decodeFingerprint(damaged, problem), std::nullopt) << i << ' ' << wrong;
    }
    EXPECT_EQ(decodeFingerprint(bytes.substr(0, i), problem), std::nullopt);
    EXPECT_NE(problem, "");
  }
  EXPECT_EQ(decodeFingerprint(bytes + '\0', problem), std::nullopt);
}

/// The bytes of a fingerprint of so many features whose differences are given, packed
/// and with the right checksum, so that only the contents can be wrong.
std::string sealed(std::string head, const std::string& differences, std::string tail = {}) {
  std::string packed(differences.size() + 64, '\0');
  uLongf size = packed.size();
  compress(reinterpret_cast<Bytef*>(packed.data()), &size,
           reinterpret_cast<const Bytef*>(differences.data()), differences.size());
  std::string bytes = "AMFP\x01" + head + packed.substr(0, size) + tail;
  const auto sum = crc32_z(0, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size());
  for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(sum >> shift);
  return bytes;
}

TEST(FingerprintFormat, RefusesWhatIsWrongUnderARightChecksum) {
  std::string problem;
  const auto decoded = [&](const std::string& bytes) { return decodeFingerprint(bytes, problem); };
  const std::string one = bytesOf({0, 1});  // no length, one feature
  EXPECT_NE(decoded(sealed(one, bytesOf({5, 1}))), std::nullopt);
  EXPECT_EQ(decoded(sealed(one, bytesOf({5, 1}), "more")), std::nullopt);
  EXPECT_EQ(decoded(sealed(bytesOf({0}), "")), std::nullopt);                  // no count
  EXPECT_EQ(decoded(sealed(bytesOf({0, 2}), bytesOf({5, 1}))), std::nullopt);  // too few
  EXPECT_EQ(decoded(sealed(bytesOf({0, 0}), bytesOf({5, 1}))), std::nullopt);  // too many
  EXPECT_EQ(decoded(sealed(bytesOf({0, 0x81, 0}), bytesOf({5, 1}))), std::nullopt);
  // 2^25 features and one, and as many as a word can tell.
  EXPECT_EQ(decoded(sealed(bytesOf({0, 0x81, 0x80, 0x80, 0x10}), bytesOf({5, 1}))), std::nullopt);
  EXPECT_EQ(decoded(sealed(bytesOf({0, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 1}),
                           bytesOf({5, 1}))),
            std::nullopt);
  // Much packed into little.
  EXPECT_EQ(decoded(sealed(one, std::string(10'000'000, '\0'))), std::nullopt);
  for (const std::string& wrong : {bytesOf({0x85, 0, 1}),           // longer than it needs
                                   bytesOf({1, 0x80, 0x80, 0x40}),  // key 2^20
                                   bytesOf({0x80, 0x80, 0x80, 0x80, 0x10, 1}),  // time 2^32
                                   bytesOf({5, 0x81})}) {                       // cut
    EXPECT_EQ(decoded(sealed(one, wrong)), std::nullopt) << testing::PrintToString(wrong);
  }
  for (const std::string& wrong : {bytesOf({5, 1, 0, 0}),                 // twice the same
                                   bytesOf({5, 1, 0, 0xFF, 0xFF, 0x3F}),  // behind the last key
                                   bytesOf({5, 1, 0xFB, 0xFF, 0xFF, 0xFF, 0x0F, 1})}) {  // and time
    EXPECT_EQ(decoded(sealed(bytesOf({0, 2}), wrong)), std::nullopt)
        << testing::PrintToString(wrong);
  }
}

TEST(FingerprintFile, NamesTheLineThatIsWrong) {
  for (const auto& [text, line] :
       {std::pair{"startTime,hashKey\n1,2\n1;2\n", "line 3"},
        std::pair{"startTime,hashKey\n1,2 \n", "line 2"},
        std::pair{"startTime,hashKey\n1,1048576\n", "line 2"},
        std::pair{"startTime,hashKey\n-1,1\n", "line 2"},
        std::pair{"{\"startTime\":1,\"hashKey\":2}\n{\"file\":1}", "line 2"},
        std::pair{"{\"startTime\":4294967296,\"hashKey\":2}", "line 1"},
        std::pair{"{\"startTime\":1.5,\"hashKey\":2}", "line 1"}, std::pair{"{[", "line 1"},
        std::pair{"QU1GU?", "damaged base64"}}) {
    try {
      parseFingerprint(text, "a/b");
      ADD_FAILURE() << text;
    } catch (const FileError& error) {
      EXPECT_EQ(error.path(), "a/b");
      EXPECT_TRUE(error.problem().starts_with(line)) << error.problem();
    }
  }
}

}  // namespace
}  // namespace audiomatch
