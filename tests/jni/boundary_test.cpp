// What the natives do at their edge: handles, lengths, odd arrays, and the
// order in which they take and release.

#include <algorithm>
#include <functional>

#include "jni/exports.h"
#include "jni/native_test.h"
#include "support/test_audio.h"

namespace {

using namespace testing_support;

constexpr jlong kRate = 8000;
constexpr jlong kFrames = 4000;
constexpr jlong kBeyond = jlong{1} << 32;

class Boundary : public NativeTest {
 protected:
  static std::vector<jbyte> bytes(std::size_t count) { return std::vector<jbyte>(count, 1); }

  std::optional<std::string> match(jlong handle) {
    return call([&] {
      return matcher::match(env(), nullptr, handle, samples_, 1, kFrames, kRate, level_);
    });
  }

  std::optional<Objects> update(jlong handle, jbyteArray pcm, jlong channels, jlong length,
                                jlong rate = kRate) {
    return call([&] {
      return attribute_extractor::update(env(), nullptr, handle, pcm, channels, length, rate);
    });
  }

  jlong serve(jobjectArray features, jobjectArray attributes, jfloatArray discrimination) {
    return call(
        [&] { return match_server::match(env(), nullptr, features, attributes, discrimination); });
  }

  jlong serve(const Objects& features, const Objects& attributes, jfloatArray discrimination) {
    return serve(jvm_.objects("AudioFeature", features), jvm_.objects("AudioAttribute", attributes),
                 discrimination);
  }

  /// The first and the last messages are these; the engine's own lie between.
  void expectMessages(const Messages& first, const Messages& last) {
    ASSERT_GT(messages_.size(), first.size() + last.size());
    EXPECT_TRUE(std::equal(first.begin(), first.end(), messages_.begin()));
    EXPECT_TRUE(std::equal(last.rbegin(), last.rend(), messages_.rbegin()));
  }

  const jshortArray samples_ = jvm_.array(music(3, 1, kFrames, kRate));
  const jintArray level_ = jvm_.array<jint>({7});
};

TEST_F(Boundary, NullHandlesAreReported) {
  const jbyteArray packet = jvm_.array(bytes(3200));
  const Messages null_handle = {"audio matcher is null."};
  for (const jlong handle : {jlong{0}, kBeyond, -kBeyond}) {
    EXPECT_EQ(match(handle), "");
    EXPECT_EQ(messages_, null_handle);
    EXPECT_EQ(jvm_.calls(), Messages{"NewStringUTF \"\""});
    const std::function<jobjectArray()> natives[] = {
        [&] { return matcher::extract(env(), nullptr, handle, samples_, 1, kFrames, kRate); },
        [&] { return attribute_extractor::update(env(), nullptr, handle, packet, 1, 1600, kRate); },
        [&] { return attribute_extractor::expired(env(), nullptr, handle); }};
    for (const auto& native : natives) {
      EXPECT_EQ(call(native), std::nullopt);
      EXPECT_EQ(messages_, null_handle);
      EXPECT_EQ(jvm_.calls(), Messages{});
    }
    for (auto* release : {&matcher::release, &attribute_extractor::release}) {
      EXPECT_EQ(call([&] { return (*release)(env(), nullptr, handle); }), 0);
      EXPECT_EQ(messages_, Messages{});
    }
  }
  EXPECT_EQ(jvm_.elements<jint>(level_), std::vector<jint>{7});
}

TEST_F(Boundary, EveryClassSwitchesTheOneLog) {
  decltype(&matcher::verbose) switches[] = {&feature_extractor::verbose, &matcher::verbose,
                                            &attribute_extractor::verbose, &match_server::verbose};
  for (int i = 0; i < 4; ++i) {
    (*switches[i])(env(), nullptr, JNI_FALSE);
    EXPECT_EQ(match(0), "");
    EXPECT_EQ(messages_, Messages{});
    (*switches[3 - i])(env(), nullptr, JNI_TRUE);
    EXPECT_EQ(match(0), "");
    EXPECT_EQ(messages_.size(), 1u);
  }
}

TEST_F(Boundary, AMatcherWithoutDatabase) {
  const jlong handle = call([&] { return matcher::init(env(), nullptr, nullptr); });
  ASSERT_NE(handle, 0);
  EXPECT_EQ(messages_, Messages{"input db_path is null."});
  EXPECT_EQ(match(handle), "");
  EXPECT_EQ(messages_, (Messages{"get data success.", "get discrimination success.",
                                 "audio channels = 1.", "audio sample rate = 8000.",
                                 "audio data len = 4000.", "query data base is NULL."}));
  EXPECT_EQ(jvm_.pinningCalls(),
            (Messages{"GetShortArrayElements", "GetIntArrayElements", "ReleaseShortArrayElements",
                      "ReleaseIntArrayElements"}));
  EXPECT_EQ(jvm_.elements<jint>(level_), std::vector<jint>{7});
  EXPECT_EQ(call([&] { return matcher::release(env(), nullptr, handle); }), 0);
}

TEST_F(Boundary, BothExtractionsAgreeAndSaySo) {
  const jshortArray stereo = jvm_.array(music(3, 2, kFrames, kRate));
  const Messages taken_in = {"audio channels = 2.", "audio sample rate = 8000.",
                             "audio data len = 4000."};
  const auto with = [](Messages all, const Messages& more) {
    all.insert(all.end(), more.begin(), more.end());
    return all;
  };
  const jlong handle = matcher::init(env(), nullptr, nullptr);
  const auto features =
      call([&] { return matcher::extract(env(), nullptr, handle, stereo, 2, kFrames, kRate); });
  ASSERT_NE(features, std::nullopt);
  const Messages converted = {
      "extract audio data features success.",
      "jfeatures alloc success, length = " + std::to_string(features->size()) + '.',
      "convert audio features to obj array success."};
  expectMessages(with(taken_in, {"load audio data success."}), converted);
  const jbyteArray pcm = jvm_.array(asBytes(jvm_.elements<jshort>(stereo)));
  EXPECT_EQ(call([&] {
              return feature_extractor::extract(env(), nullptr, pcm, 2, 2 * kFrames + 1, kRate);
            }),
            features);
  expectMessages(with(taken_in, {"init feature extractor success.", "load audio data success."}),
                 converted);
  matcher::release(env(), nullptr, handle);
}

TEST_F(Boundary, APathThatOpensNothing) {
  const jstring path = jvm_.string("/nowhere/\xC3\xA9");
  EXPECT_EQ(call([&] { return matcher::init(env(), nullptr, path); }), 0);
  EXPECT_EQ(messages_, Messages{"can not open db file /nowhere/\xC3\xA9."});
}

TEST_F(Boundary, WhatIsNoRecordingIsNotTakenIn) {
  const jlong shapes[][3] = {{0, kFrames, kRate},
                             {1, 0, kRate},
                             {1, kFrames, 0},
                             {-1, kFrames, kRate},
                             {1, -1, kRate},
                             {1, kFrames, -1},
                             {-1, -kFrames, kRate},
                             {kBeyond + 1, kFrames, kRate},
                             {1, kBeyond + kFrames, kRate},
                             {1, kFrames, kBeyond + kRate},
                             {1, INT64_MAX, kRate},
                             {1, kFrames + 1, kRate},
                             {1 << 16, 1 << 16, kRate},
                             {kBeyond - 1, kBeyond - 1, kRate}};
  const jlong handle = matcher::init(env(), nullptr, nullptr);
  const jbyteArray pcm = jvm_.array(bytes(2 * kFrames));
  const auto expectRefused = [&](jshortArray samples, jbyteArray packed, jlong channels,
                                 jlong frames, jlong rate) {
    SCOPED_TRACE(testing::Message() << channels << " x " << frames << ", " << rate << " Hz");
    const auto matched = call([&] {
      return matcher::match(env(), nullptr, handle, samples, channels, frames, rate, level_);
    });
    EXPECT_EQ(matched, "");
    for (const auto& message : messages_) EXPECT_FALSE(message.starts_with("audio channels"));
    const std::function<jobjectArray()> natives[] = {
        [&] { return matcher::extract(env(), nullptr, handle, samples, channels, frames, rate); },
        [&] {
          const jlong bytes = frames > kBeyond ? frames : 2 * frames;
          return feature_extractor::extract(env(), nullptr, packed, channels, bytes, rate);
        }};
    for (const auto& native : natives) EXPECT_EQ(call(native), std::nullopt);
  };
  for (const auto& [channels, frames, rate] : shapes) {
    expectRefused(samples_, pcm, channels, frames, rate);
  }
  expectRefused(nullptr, nullptr, 1, kFrames, kRate);
  EXPECT_EQ(messages_, Messages{});
  EXPECT_EQ(jvm_.elements<jint>(level_), std::vector<jint>{7});
  EXPECT_EQ(call([&] {
              return matcher::match(env(), nullptr, handle, samples_, 1, kFrames, kRate, nullptr);
            }),
            "");
  EXPECT_EQ(messages_, Messages{});
  matcher::release(env(), nullptr, handle);
}

TEST_F(Boundary, BytesOfARecordingAreCountedPerChannel) {
  const auto extract = [&](std::size_t size, jlong channels, jlong length) {
    const jbyteArray pcm = jvm_.array(bytes(size));
    const auto features = call(
        [&] { return feature_extractor::extract(env(), nullptr, pcm, channels, length, kRate); });
    EXPECT_EQ(features, std::nullopt);
    EXPECT_EQ(jvm_.elements<jbyte>(pcm), bytes(size));
    return messages_;
  };
  const Messages pinned = {"GetByteArrayElements", "ReleaseByteArrayElements"};
  EXPECT_EQ(extract(7, 1, 7).at(2), "audio data len = 3.");
  EXPECT_EQ(extract(7, 1, 1), Messages{"input a invalid sample count = 0."});
  EXPECT_EQ(jvm_.pinningCalls(), pinned);
  EXPECT_EQ(extract(0, 1, 0), Messages{"input a invalid sample count = 0."});
  EXPECT_EQ(jvm_.pinningCalls(), pinned);
  EXPECT_EQ(extract(8, 0, 8), Messages{"input a invalid channel num = 0."});
  EXPECT_EQ(jvm_.pinningCalls(), pinned);
  EXPECT_EQ(extract(7, 2, 4), Messages{"bad data lenght : 7."});
  EXPECT_EQ(jvm_.pinningCalls(), Messages{});
}

TEST_F(Boundary, PacketsHaveExactlyTheirLength) {
  // Each packet fills the buffer, the next one starts its analysis.
  const jlong stream_id = 5 * kBeyond + 0xFFFFFFFF;
  const jlong handle = call([&] {
    return attribute_extractor::init(env(), nullptr, stream_id, kBeyond + 5, kBeyond + 5,
                                     kBeyond + kRate, kBeyond + 1, kBeyond + 40000);
  });
  ASSERT_NE(handle, 0);
  const jbyteArray packet = jvm_.array(asBytes(music(4, 1, 40000, kRate)));
  const jlong refused[][2] = {{1, 39999}, {1, 40001},  {2, 40000},
                              {0, 40000}, {1, -40000}, {2, 20000 + (jlong{1} << 62)}};
  for (const auto& [channels, length] : refused) {
    EXPECT_EQ(update(handle, packet, channels, length), std::nullopt);
    EXPECT_EQ(messages_, Messages{"bad data lenght : 80000."});
    EXPECT_EQ(jvm_.pinningCalls(), Messages{});
  }
  EXPECT_EQ(update(handle, packet, 1, 40000, kBeyond + kRate), std::nullopt);
  EXPECT_EQ(messages_, Messages{});
  EXPECT_EQ(update(handle, packet, -1, -40000), std::nullopt);
  EXPECT_EQ(messages_, Messages{});
  EXPECT_EQ(update(handle, nullptr, 1, 40000), std::nullopt);
  EXPECT_EQ(messages_, Messages{});
  EXPECT_EQ(update(handle, jvm_.array(bytes(0)), 1, 0), std::nullopt);
  EXPECT_EQ(messages_, Messages{"input a invalid sample count = 0."});
  const Messages taken_in = {"audio channels = 1.", "audio sample rate = 8000.",
                             "audio data len = 40000."};
  EXPECT_EQ(update(handle, packet, 1, 40000), std::nullopt);
  EXPECT_EQ(messages_, taken_in);
  EXPECT_EQ(update(handle, packet, 1, 40000, kRate + 1), std::nullopt);
  EXPECT_EQ(messages_.back(), "input packet does not match the stream.");
  const auto attributes = update(handle, packet, 1, 40000);
  ASSERT_NE(attributes, std::nullopt);
  expectMessages(taken_in,
                 {"jattributes alloc success, length = " + std::to_string(attributes->size()) + '.',
                  "convert audio features to obj array success."});
  EXPECT_EQ(jvm_.pinningCalls(), (Messages{"GetByteArrayElements", "ReleaseByteArrayElements"}));
  // The stream's number keeps its low 32 bits, without sign.
  for (const auto& attribute : *attributes) EXPECT_EQ(attribute->first >> 14, 0xFFFFFFFF);
  EXPECT_EQ(call([&] { return attribute_extractor::expired(env(), nullptr, handle); }),
            std::nullopt);
  EXPECT_EQ(messages_, Messages{});
  EXPECT_EQ(call([&] { return attribute_extractor::release(env(), nullptr, handle); }), 0);
}

TEST_F(Boundary, ListsWithoutSense) {
  const Objects feature = {{{0, 1}}};
  const Objects attribute = {{{5 << 14, 1}}};
  const jfloatArray discrimination = jvm_.array<jfloat>({-7.0f});
  EXPECT_EQ(serve({}, attribute, discrimination), -1);
  EXPECT_EQ(messages_, (Messages{"features number is zero.", "cvt obj array to features failed."}));
  EXPECT_EQ(serve(feature, {}, discrimination), -1);
  EXPECT_EQ(messages_,
            (Messages{"features number is 1.", "cvt obj array to features success.",
                      "attributes array number is zero.", "cvt obj array to attributes failed."}));
  EXPECT_EQ(serve({{{0, 1}}, {{0, 1}}, {}, {{0, 1}}}, attribute, discrimination), -1);
  EXPECT_EQ(messages_, (Messages{"features number is 4.", "cvt obj array to features failed."}));
  EXPECT_EQ(serve(nullptr, jvm_.objects("AudioAttribute", attribute), discrimination), -1);
  EXPECT_EQ(serve(jvm_.objects("AudioFeature", feature), nullptr, discrimination), -1);
  EXPECT_EQ(serve(feature, {{}}, discrimination), -1);
  EXPECT_EQ(messages_.back(), "cvt obj array to attributes failed.");
  // The key finds no feature: a hit of nothing.
  EXPECT_EQ(serve(feature, {{{5 << 14, 2}}}, discrimination), -1);
  EXPECT_EQ(messages_.back(), "matching audio by features and attributes failed.");
  EXPECT_EQ(jvm_.pinningCalls(), (Messages{"GetFloatArrayElements", "ReleaseFloatArrayElements"}));
  EXPECT_EQ(jvm_.elements<jfloat>(discrimination), std::vector<jfloat>{-7.0f});
  // No discrimination is asked for, or there is no room for it.
  EXPECT_EQ(serve(feature, attribute, nullptr), 5);
  EXPECT_EQ(serve(feature, attribute, jvm_.array<jfloat>({})), 5);
}

TEST_F(Boundary, FieldsKeepTheirLowBits) {
  // Keys and times have 32 bits; a hash value has 32 of audio index above 14 of
  // time, and the index comes back signed. Offsets 3, 490 and 3.
  const jlong audio = 4'000'000'000;
  const jlong above = jlong{-1} << 46;
  const jfloatArray discrimination = jvm_.array<jfloat>({0.0f});
  EXPECT_EQ(serve({{{kBeyond + 10, kBeyond + 5}}, {{20, 5 - kBeyond}}, {{-kBeyond + 30, 6}}},
                  {{{above | audio << 14 | 13, 5}},
                   {{above | audio << 14 | 500, 5}},
                   {{audio << 14 | 33, 7 * kBeyond + 6}}},
                  discrimination),
            audio - kBeyond);
  EXPECT_EQ(messages_[4], "most matched feature num is 2.");
  EXPECT_EQ(jvm_.elements<jfloat>(discrimination), std::vector<jfloat>{1.0f});
}

}  // namespace
