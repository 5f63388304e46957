// Databases byte for byte, and as the engine reads them.

#include "tool/database_writer.h"

#include <gtest/gtest.h>

#include "match/audio_database.h"
#include "support/database_bytes.h"
#include "tests/tool/tool_files.h"

namespace {

TEST(DatabaseWriter, OrdersBucketsByKeyAndEntriesByAudioAndTime) {
  const std::string umlaut = "tr\u00E4ck";
  const testing_support::TemporaryFolder folder;
  audiomatch::AtomicFile file(folder / "db");
  const audiomatch::DatabaseAudio audios[] = {
      {"first", {{9, 7}, {2, 7}, {16383, 0}}}, {"", {}}, {umlaut, {{3, 7}, {0, 1048575}}}};
  audiomatch::writeDatabase(audios, file);
  file.commit();

  // An audio's index stands above 14 bits of time.
  const std::vector<std::uint8_t> expected = testing_support::databaseBytes(
      {"first", "", umlaut}, {{0, {16383}}, {7, {2, 9, 2 * 16384 + 3}}, {1048575, {2 * 16384}}});
  EXPECT_EQ(file.size(), expected.size());
  EXPECT_TRUE(testing_support::contents(folder / "db") ==
              std::string(expected.begin(), expected.end()));

  audio::AudioDatabase database;
  ASSERT_TRUE(database.load((folder / "db").c_str()));
  EXPECT_EQ(database.audioCount(), 3u);
  EXPECT_EQ(database.audioName(2), umlaut);
  std::vector<audio::AudioHashHit> hits;
  ASSERT_TRUE(database.extractHits({{1, 7}, {0, 1048575}, {0, 8}, {4, 0}}, hits));
  EXPECT_EQ(hits, (std::vector<audio::AudioHashHit>{{0, 1}, {0, 8}, {2, 2}, {2, 0}, {0, 16379}}));
}

}  // namespace
