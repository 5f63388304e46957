// Every call of JNI that can fail fails once: the n-th of a native, then the
// n+1-th, until the native passes. Nothing stays pinned, nothing but releases
// follows a failure, the messages are those of the step that failed, and the
// same object does the job afterwards.

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <set>

#include "jni/exports.h"
#include "jni/native_test.h"
#include "support/database_bytes.h"
#include "support/test_audio.h"

namespace {

using namespace testing_support;

constexpr jlong kRate = 8000;
constexpr jlong kFrames = 5 * kRate;

/// A failing call: the first message of a success that is missing then (empty:
/// none is), and what is logged instead.
struct Failure {
  std::string call;
  std::string missing;
  Messages instead;
};
using Failures = std::vector<Failure>;

Failures operator+(Failures all, const Failures& more) {
  all.insert(all.end(), more.begin(), more.end());
  return all;
}

/// The call that pins a recording; after it the recording is taken in.
Failures pinning(const std::string& type) {
  return {{"Get" + type + "ArrayElements", "audio channels = 1.", {}}};
}

/// The calls that turn `count` records into Java objects.
Failures conversion(const std::string& class_name, const std::string& first_field,
                    const std::string& list, std::size_t count, const std::string& what) {
  const std::string allocated = list + " alloc success, length = " + std::to_string(count) + '.';
  const std::string success = "convert " + what + " to obj array success.";
  const std::string failed = "convert " + what + " to obj array failed.";
  const std::string no_field = "can not get " + class_name + " field.";
  return {
      {"FindClass " + class_name, allocated, {"can not find class " + class_name + '.', failed}},
      {"GetFieldID " + class_name + '.' + first_field, allocated, {no_field, failed}},
      {"GetFieldID " + class_name + ".hashKey", allocated, {no_field, failed}},
      {"NewObjectArray " + class_name,
       allocated,
       {"create " + class_name + " array failed.", failed}},
      {"AllocObject " + class_name, success, {"alloc audio feature failed.", failed}},
      {"SetObjectArrayElement " + class_name, success, {failed}}};
}

/// The calls that read Java objects.
Failures reading(const std::string& class_name, const std::string& first_field,
                 const std::string& list) {
  const std::string success = "cvt obj array to " + list + " success.";
  const std::string failed = "cvt obj array to " + list + " failed.";
  // The one text for both classes.
  const std::string no_field = "can not get AudioFeature field.";
  return {{"FindClass " + class_name, success, {"can not find class " + class_name + '.', failed}},
          {"GetFieldID " + class_name + '.' + first_field, success, {no_field, failed}},
          {"GetFieldID " + class_name + ".hashKey", success, {no_field, failed}},
          {"GetObjectArrayElement " + class_name, success, {failed}}};
}

/// Five seconds with a little music, so that few features come of them.
std::vector<jshort> shortMusic() {
  std::vector<jshort> pcm = music(7, 1, kRate / 5, kRate);
  pcm.resize(kFrames);
  return pcm;
}

class FailingCalls : public NativeTest {
 protected:
  void SetUp() override {
    features_ = *call([&] { return extract(); });
    ASSERT_GT(features_.size(), 3u);
  }

  /// Lets one call after the other fail: `run` gets its number and returns the
  /// result of `call`. `check` judges what came of it, given that and the
  /// result of a success. Every failure of the table has to occur, and no other.
  template <typename Run, typename Check>
  void failEach(const Failures& failures, const Run& run, const Check& check) {
    const auto expected = run(0);
    const Messages success = messages_;
    std::set<std::string> seen;
    for (long n = 1; !HasFailure(); ++n) {
      const auto result = run(n);
      const std::string failed = jvm_.failedCall();
      SCOPED_TRACE("call " + std::to_string(n) + ": " + failed);
      if (failed.empty()) {
        EXPECT_EQ(result, expected);
        break;
      }
      const auto failure = std::find_if(failures.begin(), failures.end(),
                                        [&](const Failure& f) { return f.call == failed; });
      ASSERT_NE(failure, failures.end());
      Messages messages(success.begin(),
                        std::find(success.begin(), success.end(), failure->missing));
      ASSERT_EQ(messages.size() == success.size(), failure->missing.empty());
      messages.insert(messages.end(), failure->instead.begin(), failure->instead.end());
      EXPECT_EQ(messages_, messages);
      EXPECT_EQ(jvm_.elements<jshort>(samples_), pcm_);
      EXPECT_EQ(jvm_.elements<jbyte>(bytes_), asBytes(pcm_));
      check(result, expected);
      EXPECT_EQ(run(0), expected) << "afterwards";
      EXPECT_EQ(messages_, success) << "afterwards";
      seen.insert(failed);
    }
    EXPECT_EQ(seen.size(), failures.size());
  }

  /// The same for natives that return an array: it is as far filled as it went,
  /// and null until it was made.
  template <typename Run>
  void failEach(const Failures& failures, const Run& run) {
    failEach(failures, run, [this](const auto& result, const auto& success) {
      const std::string& failed = jvm_.failedCall();
      const auto done = [&](const std::string& name) {
        return std::count_if(jvm_.calls().begin(), jvm_.calls().end(), [&](const auto& call) {
          return call.rfind(name, 0) == 0 && call != failed;
        });
      };
      if (done("NewObjectArray") == 0) {
        EXPECT_EQ(result, std::nullopt);
        return;
      }
      const bool storing = failed.rfind("SetObjectArrayElement", 0) == 0;
      const auto stored = storing ? done("AllocObject") - 1 : done("SetObjectArrayElement");
      Objects filled = *success;
      std::fill(filled.begin() + stored, filled.end(), std::nullopt);
      EXPECT_EQ(result, filled);
    });
  }

  jobjectArray extract() {
    return feature_extractor::extract(env(), nullptr, bytes_, 1, 2 * kFrames, kRate);
  }

  Failures featureConversion() const {
    return conversion("AudioFeature", "startTime", "jfeatures", features_.size(), "audio features");
  }

  /// A database of the recording, which is its audio number 1.
  std::vector<std::uint8_t> database() const {
    Buckets buckets;
    for (const auto& feature : features_) {
      buckets[static_cast<std::uint32_t>(feature->second)].push_back(
          std::uint64_t{1} << 14 | static_cast<std::uint64_t>(feature->first));
    }
    return databaseBytes({"another", "this one"}, buckets);
  }

  const std::vector<jshort> pcm_ = shortMusic();
  const jshortArray samples_ = jvm_.array(pcm_);
  const jbyteArray bytes_ = jvm_.array(asBytes(pcm_));
  Objects features_;
};

TEST_F(FailingCalls, OfTheFeatureExtractor) {
  failEach(pinning("Byte") + featureConversion(),
           [&](long n) { return call([&] { return extract(); }, n); });
}

TEST_F(FailingCalls, OfOpeningAMatcher) {
  const TemporaryFile file(database());
  const jstring path = jvm_.string(file.path());
  jlong handle = 0;
  for (const long failing : {1L, 0L}) {
    handle = call([&] { return matcher::init(env(), nullptr, path); }, failing);
    EXPECT_EQ(handle != 0, failing == 0);
    EXPECT_EQ(jvm_.failedCall(), failing ? "GetStringUTFChars" : "");
    EXPECT_EQ(messages_, Messages{});
  }
  EXPECT_EQ(matcher::release(env(), nullptr, handle), 0);
}

class FailingMatcherCalls : public FailingCalls {
 protected:
  void SetUp() override {
    FailingCalls::SetUp();
    const TemporaryFile file(database());
    handle_ = matcher::init(env(), nullptr, jvm_.string(file.path()));
    ASSERT_NE(handle_, 0);
  }
  void TearDown() override { matcher::release(env(), nullptr, handle_); }

  jlong handle_ = 0;
};

TEST_F(FailingMatcherCalls, OfExtraction) {
  const auto extract = [&] {
    return matcher::extract(env(), nullptr, handle_, samples_, 1, kFrames, kRate);
  };
  EXPECT_EQ(call(extract), features_);
  failEach(pinning("Short") + featureConversion(), [&](long n) { return call(extract, n); });
}

TEST_F(FailingMatcherCalls, OfMatching) {
  jintArray level = nullptr;
  const auto match = [&] {
    level = jvm_.array<jint>({7, 8});
    return matcher::match(env(), nullptr, handle_, samples_, 1, kFrames, kRate, level);
  };
  const std::string naming = "NewStringUTF \"this one\"";
  failEach(
      {{"NewStringUTF \"\"", "get data success.", {}},
       {"GetShortArrayElements", "get data success.", {}},
       {"GetIntArrayElements", "get discrimination success.", {}},
       {naming, "", {}}},
      [&](long n) { return call(match, n); },
      [&](const auto& result, const auto& success) {
        EXPECT_EQ(success, "this one");
        const bool matched = jvm_.failedCall() == naming;
        // There is no string where one can't be made.
        if (matched || jvm_.calls().size() == 1)
          EXPECT_EQ(result, std::nullopt);
        else
          EXPECT_EQ(result, "");
        EXPECT_EQ(jvm_.elements<jint>(level), (std::vector<jint>{matched ? 2 : 7, 8}));
      });
  EXPECT_EQ(jvm_.pinningCalls(),
            (Messages{"GetShortArrayElements", "GetIntArrayElements", "ReleaseShortArrayElements",
                      "ReleaseIntArrayElements"}));
  EXPECT_EQ(jvm_.elements<jint>(level), (std::vector<jint>{2, 8}));
  const jintArray no_room = jvm_.array<jint>({});
  EXPECT_EQ(call([&] {
              return matcher::match(env(), nullptr, handle_, samples_, 1, kFrames, kRate, no_room);
            }),
            "this one");
}

// A packet fills the buffer: each but the first starts the analysis of the one
// before it, and expires the attributes of the analysis before that.
class FailingStreamCalls : public FailingCalls {
 protected:
  static constexpr jlong kStream = 3;
  static constexpr jlong kCodesPerUpdate = 157;  // five seconds of 32 ms each, and one more

  /// A hash value with the time code that the first analysis would give it.
  static jlong withoutAnalyses(jlong hash_value, jlong analyses) {
    return (hash_value & ~jlong{0x3FFF}) | ((hash_value - analyses * kCodesPerUpdate) & 0x3FFF);
  }

  void SetUp() override {
    FailingCalls::SetUp();
    handle_ = attribute_extractor::init(env(), nullptr, kStream, 5, 5, kRate, 1, kFrames);
    ASSERT_NE(handle_, 0);
    ASSERT_EQ(call([&] { return update(); }), std::nullopt);
  }
  void TearDown() override { attribute_extractor::release(env(), nullptr, handle_); }

  jobjectArray update() {
    return attribute_extractor::update(env(), nullptr, handle_, bytes_, 1, kFrames, kRate);
  }

  jlong handle_ = 0;
};

TEST_F(FailingStreamCalls, OfAnUpdate) {
  // A packet that can't be had is no packet; any other failure loses the
  // attributes of an analysis that has been. The time codes tell.
  jlong analyses = 0;
  const auto run = [&](long n) {
    auto attributes = call([&] { return update(); }, n);
    for (jlong k = 0; attributes && k < std::ssize(*attributes); ++k) {
      auto& attribute = (*attributes)[static_cast<std::size_t>(k)];
      if (attribute) attribute->first = withoutAnalyses(attribute->first, analyses);
    }
    if (jvm_.failedCall() != "GetByteArrayElements") ++analyses;
    return attributes;
  };
  const Objects first = *run(0);
  ASSERT_GT(first.size(), 3u);
  EXPECT_EQ(first[0]->first >> 14, kStream);
  failEach(pinning("Byte") + conversion("AudioAttribute", "hashValue", "jattributes", first.size(),
                                        "audio features"),
           run);
}

TEST_F(FailingStreamCalls, OfExpiry) {
  const auto expired = [&] { return attribute_extractor::expired(env(), nullptr, handle_); };
  const auto first = call([&] { return update(); });
  ASSERT_NE(first, std::nullopt);
  EXPECT_EQ(call(expired), std::nullopt);
  EXPECT_NE(call([&] { return update(); }), std::nullopt);
  EXPECT_EQ(call(expired), first);
  failEach(conversion("AudioAttribute", "hashValue", "jattributes", first->size(),
                      "expired audio features"),
           [&](long n) { return call(expired, n); });
}

TEST_F(FailingCalls, OfTheMatchServer) {
  // Three hits of audio 5 agree, one of audio 6 is alone: (3 - 1) / (3 + 1).
  const jobjectArray features = jvm_.objects("AudioFeature", {{{10, 7}}, {{20, 9}}});
  const jobjectArray attributes = jvm_.objects(
      "AudioAttribute",
      {{{5 << 14 | 30, 7}}, {{6 << 14 | 10, 7}}, {{5 << 14 | 31, 7}}, {{5 << 14 | 40, 9}}});
  jfloatArray discrimination = nullptr;
  const auto match = [&] {
    discrimination = jvm_.array<jfloat>({-7.0f, -8.0f});
    return match_server::match(env(), nullptr, features, attributes, discrimination);
  };
  EXPECT_EQ(call(match), 5);
  const Messages success = {"features number is 2.",
                            "cvt obj array to features success.",
                            "attributes array number is 4.",
                            "cvt obj array to attributes success.",
                            "most matched feature num is 3.",
                            "second most matched feature num is 1.",
                            "most matched audio discrimination is 0.500000.",
                            "matching audio by features and attributes success."};
  EXPECT_EQ(messages_, success);
  EXPECT_EQ(jvm_.elements<jfloat>(discrimination), (std::vector<jfloat>{0.5f, -8.0f}));
  const Failures pin = {
      {"GetFloatArrayElements", success.front(), {"get discrimination ptr failed."}}};
  failEach(
      pin + reading("AudioFeature", "startTime", "features") +
          reading("AudioAttribute", "hashValue", "attributes"),
      [&](long n) { return call(match, n); },
      [&](jlong result, jlong) {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(jvm_.elements<jfloat>(discrimination), (std::vector<jfloat>{-7.0f, -8.0f}));
      });
}

}  // namespace
