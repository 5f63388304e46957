#include <gtest/gtest.h>
#include <sys/resource.h>

#include <thread>

#include "base/logger.h"
#include "stream/stream_attribute_extractor.h"
#include "stream/stream_grid.h"
#include "support/log_capture.h"
#include "support/test_audio.h"

namespace {

using namespace testing_support;
using audio::StreamAttributeExtractor;
using Messages = std::vector<std::string>;

/// How a stream is set up and fed.
struct Feed {
  std::uint32_t id, update, monitor, rate, channels, packet_len, packets;
};

/// A packet of a recording that goes on for ever.
Recording packetOf(const Feed& feed, const Recording& source, std::uint32_t number) {
  Recording packet(0, feed.channels, 0, feed.rate);
  packet.shape.frames = feed.packet_len;
  const std::size_t size = std::size_t{feed.packet_len} * feed.channels;
  for (std::size_t i = 0; i < size; ++i)
    packet.pcm.push_back(source.pcm[(number * size + i) % source.pcm.size()]);
  return packet;
}

/// Gives both streams the same packet, or null, and compares what came of it.
void expectSameUpdate(StreamAttributeExtractor& stream, plain::Stream& reference,
                      const Recording* packet) {
  const audio::AudioDataPtr heard = packet ? packet->engine() : nullptr;
  const plain::Audio plain_packet = packet ? packet->reference(reference.log) : plain::Audio();
  ASSERT_EQ(stream.update(heard.get()), reference.update(packet ? &plain_packet : nullptr));
  ASSERT_EQ(asPlain<plain::Attribute>(stream.currentAttributes()), reference.current);
  ASSERT_EQ(asPlain<plain::Attribute>(stream.expiredAttributes()), reference.expired);
}

void expectSameStream(const Feed& feed) {
  SCOPED_TRACE(testing::Message() << feed.rate << " Hz, " << feed.packet_len << " samples, "
                                  << feed.update << "/" << feed.monitor << " s");
  const Recording source(feed.id, feed.channels, feed.rate * 9 + 123, feed.rate);
  LogCapture capture;
  plain::Log log;
  StreamAttributeExtractor stream;
  plain::Stream reference(log);
  ASSERT_EQ(
      stream.init(feed.id, feed.update, feed.monitor, feed.rate, feed.channels, feed.packet_len),
      reference.init(feed.id, feed.update, feed.monitor, feed.rate, feed.channels,
                     feed.packet_len));
  std::size_t attributes = 0;
  std::uint32_t analyses = 0;
  std::size_t expired = 0;
  for (std::uint32_t i = 0; i < feed.packets && !testing::Test::HasFailure(); ++i) {
    SCOPED_TRACE(testing::Message() << "packet " << i);
    const Recording packet = packetOf(feed, source, i);
    // None and those of another shape don't count.
    std::vector<Recording> bad(3, packet);
    bad[0].shape.frames -= 1;
    bad[1].shape.sample_rate += 1;
    bad[2].shape = {feed.channels + 1, feed.packet_len / 2, feed.rate};
    expectSameUpdate(stream, reference, nullptr);
    for (const Recording& refused : bad) expectSameUpdate(stream, reference, &refused);
    expectSameUpdate(stream, reference, &packet);
    const bool analysed = reference.analyses.size() > analyses;
    ASSERT_EQ(stream.lastAnalysis(), analysed ? std::optional(analyses) : std::nullopt);
    analyses = static_cast<std::uint32_t>(reference.analyses.size());
    attributes += stream.currentAttributes().size();
    expired += stream.expiredAttributes().size();
  }
  EXPECT_GT(attributes, 0u);
  EXPECT_GT(expired, 0u);
  ASSERT_EQ(capture.messages(), log);
}

TEST(Stream, EqualsTheReferencePacketByPacket) {
  expectSameStream({5, 1, 3, 8000, 1, 1600, 60});
  expectSameStream({4294967295u, 2, 4, 44100, 2, 4410, 130});
  expectSameStream({7, 1, 2, 16000, 3, 5000, 40});   // 3.2 packets a second
  expectSameStream({9, 5, 5, 11025, 1, 11025, 20});  // the whole buffer at once
  expectSameStream({3, 1, 1, 8000, 1, 700, 90});
  expectSameStream({1, 20, 20, 800, 1, 16000, 6});  // packets longer than the buffer
}

TEST(Stream, TimeCodesWrapAfterFourteenBits) {
  // 512 one-second updates fill the codes; silence costs little.
  audio::gLogger.setEnabled(false);
  StreamAttributeExtractor stream;
  ASSERT_TRUE(stream.init(5, 1, 600, 8000, 1, 8000));
  const Recording music(1, 1, 8000 * 6, 8000);
  const Feed feed{5, 1, 600, 8000, 1, 8000, 0};
  const audio::AudioDataPtr silence(audio::AudioData::create(1, 8000, 8000));
  std::vector<std::uint64_t> codes;
  for (std::uint32_t second = 0; second < 530; ++second) {
    const bool playing = second >= 510 && second < 516;
    const audio::AudioDataPtr heard = packetOf(feed, music, second).engine();
    ASSERT_TRUE(stream.update(playing ? heard.get() : silence.get()));
    for (const auto& attribute : stream.currentAttributes()) codes.push_back(attribute.hashValue);
  }
  audio::gLogger.setEnabled(true);
  ASSERT_FALSE(codes.empty());
  for (const std::uint64_t code : codes) EXPECT_EQ(code >> 14, 5u);
  const auto [low, high] = std::minmax_element(codes.begin(), codes.end());
  EXPECT_LT(*low, 5 * 16384u + 300);     // after the wrap
  EXPECT_GT(*high, 5 * 16384u + 16000);  // before it
}

TEST(Stream, RefusesParametersBeforeAnythingChanges) {
  StreamAttributeExtractor stream;
  ASSERT_TRUE(stream.init(1, 1, 1, 8000, 1, 1600));
  LogCapture capture;
  const auto refused = [&](std::uint32_t update, std::uint32_t monitor, std::uint32_t rate,
                           std::uint32_t len) {
    return !stream.init(1, update, monitor, rate, 1, len);
  };
  const std::uint32_t most = UINT32_MAX;
  EXPECT_TRUE(refused(0, 10, 8000, 1600) && refused(1, 0, 8000, 1600) && refused(1, 10, 0, 1600) &&
              refused(1, 10, 8000, 0));
  EXPECT_TRUE(refused(3, 10, 8000, 1600));
  EXPECT_TRUE(refused(6, 12, 8000, 1600));   // longer than the buffer
  EXPECT_TRUE(refused(1, 10, 8000, 16001));  // less than half a packet a period
  EXPECT_TRUE(refused(1, 10, most, 1));      // five seconds don't fit 32 bits
  EXPECT_TRUE(refused(most, most, most, most));
  const Messages messages = capture.messages();
  ASSERT_EQ(messages.size(), 9u);
  EXPECT_EQ(messages[0],
            "input bad parameters, update_rate = 0, sample rate = 8000, "
            "monitor_win_len = 10, input_audio_packet_len = 1600.");
  EXPECT_EQ(messages[4], "monitor_duration % update_rate must be zero.");
  EXPECT_EQ(messages[5].rfind("input bad parameters, update_rate = 6,", 0), 0u);
  // The stream of before still takes its packets.
  const Recording packet(1, 1, 1600, 8000);
  EXPECT_TRUE(stream.update(packet.engine().get()));
}

TEST(Stream, ALongMonitorWindowTakesMemoryAsItFills) {
  rusage before{};
  rusage after{};
  getrusage(RUSAGE_SELF, &before);
  StreamAttributeExtractor stream;
  EXPECT_TRUE(stream.init(1, 1, 1000000000, 8000, 1, 1600));
  // Twenty million packets in a buffer of 80 MB, which some allocators touch.
  EXPECT_TRUE(stream.init(1, 1, 2, 4000000, 1, 1));
  getrusage(RUSAGE_SELF, &after);
  EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 100 * 1024);  // KiB
}

TEST(Stream, GridOfTheExampleAndItsNeighbours) {
  const auto grid = audio::streamGrid(1, 10, 8000, 1600);
  ASSERT_TRUE(grid);
  EXPECT_EQ(grid->buffer_packets, 25u);
  EXPECT_EQ(grid->packets_per_update, 5u);
  EXPECT_EQ(grid->update_frames, 31u);
  EXPECT_EQ(grid->slot_count, 10u);
  EXPECT_EQ(audio::streamGrid(2, 2, 8000, 1600)->update_frames, 62u);
  EXPECT_EQ(audio::streamGrid(5, 5, 8000, 1600)->update_frames, 156u);
  EXPECT_EQ(audio::streamGrid(1, 1, 8000, 16000)->packets_per_update, 1u);  // a half rounds up
  EXPECT_EQ(audio::streamGrid(20, 20, 8000, 160000)->buffer_packets, 1u);
}

TEST(Stream, StreamsOnThreadsAreIndependent) {
  audio::gLogger.setEnabled(false);
  const auto run = [](std::uint32_t id) {
    const Feed feed{id, 1, 2, 8000, 1, 4000, 30};
    const Recording source(id, 1, 8000 * 8, 8000);
    StreamAttributeExtractor stream;
    std::vector<audio::AudioAttribute> all;
    if (!stream.init(id, 1, 2, 8000, 1, 4000)) return all;
    for (std::uint32_t i = 0; i < feed.packets; ++i) {
      stream.update(packetOf(feed, source, i).engine().get());
      all.insert(all.end(), stream.currentAttributes().begin(), stream.currentAttributes().end());
    }
    return all;
  };
  std::vector<std::vector<audio::AudioAttribute>> together(3);
  std::vector<std::thread> threads;
  for (std::uint32_t id = 0; id < 3; ++id)
    threads.emplace_back([&, id] { together[id] = run(id); });
  for (std::thread& thread : threads) thread.join();
  for (std::uint32_t id = 0; id < 3; ++id) {
    EXPECT_FALSE(together[id].empty());
    EXPECT_EQ(together[id], run(id));
  }
  audio::gLogger.setEnabled(true);
}

}  // namespace
