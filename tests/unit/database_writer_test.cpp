// Databases byte for byte, and as the engine reads them.

#include "match/database/database_writer.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "match/database/audio_database.h"
#include "support/database_bytes.h"

namespace {

/// Keeps the bytes.
struct Bytes : audio::ByteSink {
  void write(const void* bytes, std::size_t size) override {
    const auto* first = static_cast<const std::uint8_t*>(bytes);
    all.insert(all.end(), first, first + size);
  }
  std::vector<std::uint8_t> all;
};

TEST(DatabaseWriter, OrdersBucketsByKeyAndEntriesByAudioAndTime) {
  const std::string umlaut = "tr\u00E4ck";
  const audio::DatabaseAudio audios[] = {
      {"first", {{9, 7}, {2, 7}, {16383, 0}}}, {"", {}}, {umlaut, {{3, 7}, {0, 1048575}}}};
  Bytes sink;
  audio::writeDatabase(audios, sink);

  // An audio's index stands above 14 bits of time.
  EXPECT_TRUE(sink.all == testing_support::databaseBytes(
                              {"first", "", umlaut},
                              {{0, {16383}}, {7, {2, 9, 2 * 16384 + 3}}, {1048575, {2 * 16384}}}));
  const testing_support::TemporaryFile file(sink.all);
  audio::AudioDatabase database;
  ASSERT_TRUE(database.load(file.path()));
  EXPECT_EQ(database.state(), audio::DatabaseState::kWhole);
  EXPECT_EQ(database.audioCount(), 3u);
  EXPECT_EQ(database.audioName(2), umlaut);
  std::vector<audio::AudioHashHit> hits;
  ASSERT_TRUE(database.extractHits({{1, 7}, {0, 1048575}, {0, 8}, {4, 0}}, hits));
  EXPECT_EQ(hits, (std::vector<audio::AudioHashHit>{{0, 1}, {0, 8}, {2, 2}, {2, 0}, {0, 16379}}));

  for (const std::uint32_t key : {1048576u, UINT32_MAX}) {
    const audio::DatabaseAudio impossible[] = {{"key", {{0, key}}}};
    EXPECT_THROW(audio::writeDatabase(impossible, sink), std::out_of_range);
  }
}

}  // namespace
