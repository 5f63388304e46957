// The Java classes can't include the engine's headers: the numbers that they
// keep for themselves are held to the engine's here.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "base/analysis_grid.h"
#include "match/database/database_format.h"
#include "match/database/packed_entry.h"
#include "match/scoring/offset_consensus.h"
#include "stream/stream_grid.h"
#include "tool/recognition/verdict.h"

namespace {

/// A Java class's constant as it is written; fails when there is none.
std::string textOf(const std::string& java_class, const std::string& name) {
  std::ifstream file(std::filesystem::path(JAVA_SOURCES) / (java_class + ".java"));
  const std::string source{std::istreambuf_iterator<char>(file), {}};
  const std::size_t place = source.find(" " + name + " = ");
  EXPECT_NE(place, std::string::npos) << java_class << "." << name;
  return place == std::string::npos ? "0" : source.substr(place + name.size() + 4, 20);
}

std::uint64_t constantOf(const std::string& java_class, const std::string& name) {
  return std::stoull(textOf(java_class, name), nullptr, 0);
}

TEST(JavaCopies, AreTheEnginesNumbers) {
  EXPECT_EQ(constantOf("Arguments", "MIN_SAMPLE_RATE"), audio::kLowestRate);
  EXPECT_EQ(constantOf("Arguments", "MAX_SAMPLE_RATE"), audio::kHighestRate);
  EXPECT_EQ(constantOf("AudioAttributeExtractor", "BUFFER_SECONDS"), audio::kBufferSeconds);
  EXPECT_EQ(constantOf("AudioAttribute", "TIME_MASK"), audio::kEntryTimeMask);
  EXPECT_EQ(constantOf("AudioAttribute", "TIME_BITS"), audio::kEntryTimeBits);
  EXPECT_EQ(constantOf("DatabaseFile", "TABLE_SIZE"), audio::kTableSize);
  EXPECT_EQ(constantOf("DatabaseFile", "TIME_SLOTS"), audio::kTimeSlots);
  EXPECT_EQ(constantOf("Candidate", "OFFSET_TOLERANCE"), audio::kOffsetTolerance);
  // Two frames: fewer have no pair of peaks.
  EXPECT_EQ(constantOf("Pcm", "MIN_MILLISECONDS"), 2 * audio::kFrameMs - audio::kOverlapMs);
}

TEST(JavaCopies, RecogniseByTheToolsThresholds) {
  using audiomatch::kThresholds;
  EXPECT_EQ(constantOf("Recognition", "MIN_AGREEING"), kThresholds.agreeing);
  EXPECT_EQ(constantOf("Recognition", "FEATURES_PER_AGREEING"), kThresholds.kFeaturesPerAgreeing);
  EXPECT_EQ(constantOf("Recognition", "PLENTY"), kThresholds.kPlenty);
  EXPECT_EQ(std::stod(textOf("Recognition", "MIN_DISCRIMINATION")), kThresholds.discrimination);
}

}  // namespace
