// The n-th allocation fails, then the n+1-th, until the job passes: nothing
// crashes, nothing leaks (the address sanitizer looks), and the object does
// the job afterwards.

#include <gtest/gtest.h>

#include <functional>
#include <set>

#include "base/logger.h"
#include "dsp/resampler.h"
#include "match/audio_matcher.h"
#include "stream/stream_attribute_extractor.h"
#include "support/failing_new.h"
#include "support/log_capture.h"
#include "support/music_database.h"
#include "support/test_audio.h"

using testing_support::fails;

extern "C" void* __real_malloc(std::size_t size);

void* testing_support::allocate(std::size_t size, const void*) noexcept {
  return fails() ? nullptr : __real_malloc(size);
}

// The linker sends the engine's C allocations here, and what kissfft allocates
// in a library of its own.
extern "C" void* __real_calloc(std::size_t count, std::size_t size);
extern "C" void* __real_realloc(void* memory, std::size_t size);
extern "C" void* __wrap_malloc(std::size_t size) { return fails() ? nullptr : __real_malloc(size); }
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size) {
  return fails() ? nullptr : __real_calloc(count, size);
}
extern "C" void* __wrap_realloc(void* memory, std::size_t size) {
  return fails() ? nullptr : __real_realloc(memory, size);
}

extern "C" void* __real_kiss_fft_alloc(int size, int inverse, void* memory, std::size_t* length);
extern "C" void* __wrap_kiss_fft_alloc(int size, int inverse, void* memory, std::size_t* length) {
  return fails() ? nullptr : __real_kiss_fft_alloc(size, inverse, memory, length);
}

namespace {

using namespace testing_support;

/// Runs `job` with one failing allocation after the other until it is true
/// without one having failed. Returns how many did.
long failEach(const std::function<bool()>& job) {
  for (long n = 1; n < 100000; ++n) {
    failing = n;
    bool done = false;
    try {
      done = job();
    } catch (const std::bad_alloc&) {
      // Ends at the export, in the library.
    }
    const bool reached = failing == 0;
    failing = 0;
    if (!reached) {
      EXPECT_TRUE(done);
      return n - 1;
    }
  }
  return -1;
}

class AllocationFailure : public testing::Test {
 protected:
  void SetUp() override { audio::gLogger.setEnabled(false); }
  void TearDown() override { audio::gLogger.setEnabled(true); }

  /// Runs the job as failEach does, with messages on, and expects each of
  /// `texts` among them.
  static void expectMessages(const std::vector<std::string>& texts,
                             const std::function<bool()>& job) {
    audio::gLogger.setEnabled(true);
    LogCapture capture;
    EXPECT_GT(failEach(job), 10);
    audio::gLogger.setEnabled(false);
    const std::vector<std::string> all = capture.messages();
    const std::set<std::string> heard(all.begin(), all.end());
    for (const std::string& text : texts) EXPECT_TRUE(heard.contains(text)) << text;
  }

  const Recording recording_{1, 2, 8000, 16000};
  const audio::AudioDataPtr audio_ = recording_.engine();
  const TemporaryFile database_{databaseOf({"the one"}, {recording_})};
};

TEST_F(AllocationFailure, KeepsTheResamplingLibraryOutOfIt) {
  // It would write through the null pointer.
  audio::Resampler resampler;
  failing = 1;
  const bool opened = resampler.open(1, 0.1f, 10.0f);
  EXPECT_EQ(failing, 0) << "asked for no memory";
  failing = 0;
  EXPECT_FALSE(opened);
  EXPECT_TRUE(resampler.open(1, 0.1f, 10.0f));
}

TEST_F(AllocationFailure, WhileMatching) {
  // A new matcher each time, then one that has seen every failure.
  expectMessages(
      {"alloc database failed.", "init look up table failed.", "alloc feature extractor failed.",
       "alloc land mark finder failed.", "alloc resampler failed.", "init resampler failed.",
       "alloc spectrogram failed.", "init spectrogram generator failed.",
       "feature extractor init failed.", "create audio data failed.", "prepare audio data failed.",
       "gen hamming window error.", "kiss fft instance alloc failed.", "init spectrogram failed.",
       "spectrogram run failed", "alloc spectrogram mag failed.", "set resampler failed."},
      [&] {
        audio::AudioMatcher matcher;
        bool matched = false;
        try {
          matched = matcher.init(database_.path()) && matcher.matchAudio(audio_.get());
        } catch (const std::bad_alloc&) {
        }
        if (matched) return matcher.bestMatchName() == "the one";
        EXPECT_TRUE(matcher.databaseState() == audio::DatabaseState::kWhole ||
                    matcher.databaseState() == audio::DatabaseState::kOutOfMemory);
        // Without an extractor nothing was matched.
        EXPECT_TRUE(matcher.outcome() == audio::MatchOutcome::kOutOfMemory ||
                    matcher.outcome() == audio::MatchOutcome::kNone);
        return false;
      });
  audio::AudioMatcher matcher;
  ASSERT_TRUE(matcher.init(database_.path()));
  EXPECT_GT(failEach([&] {
              const bool matched = matcher.matchAudio(audio_.get());
              const auto outcome = matcher.outcome();
              EXPECT_EQ(outcome, matched ? audio::MatchOutcome::kMatched
                                         : audio::MatchOutcome::kOutOfMemory);
              return matched;
            }),
            20);
  EXPECT_EQ(matcher.bestMatchName(), "the one");
}

using Attributes = std::vector<audio::AudioAttribute>;

/// Streams 18 packets while allocation `n` fails, repeating a call that failed.
/// Returns the attributes after each packet.
std::vector<Attributes> stream(const audio::AudioData& packet, long n, bool& reached) {
  audio::StreamAttributeExtractor extractor;
  long left = n;
  const auto attempt = [&left](const std::function<bool()>& call) {
    bool done = false;
    failing = left;
    try {
      done = call();
    } catch (const std::bad_alloc&) {
    }
    left = failing;
    failing = 0;
    if (done) return;
    ASSERT_EQ(left, 0) << "failed without a cause";
    ASSERT_TRUE(call());
  };
  std::vector<Attributes> all;
  attempt([&] { return extractor.init(1, 1, 2, 8000, 1, 4000); });
  for (int i = 0; i < 18; ++i) {
    attempt([&] { return extractor.update(&packet); });
    all.push_back(extractor.currentAttributes());
  }
  reached = n > 0 && left == 0;
  return all;
}

TEST_F(AllocationFailure, IsTold) {
  const audio::AudioDataPtr packet = Recording(1, 1, 8000, 8000).engine();
  expectMessages({"copy audio data failed.", "feature extractor load audio failed."}, [&] {
    audio::StreamAttributeExtractor extractor;
    if (!extractor.init(1, 1, 2, 8000, 1, 8000)) return false;
    for (int i = 0; i < 7; ++i) {
      if (!extractor.update(packet.get())) return false;
    }
    return true;
  });
}

TEST_F(AllocationFailure, WhileStreaming) {
  const audio::AudioDataPtr packet = Recording(1, 1, 4000, 8000).engine();
  bool reached = false;
  const std::vector<Attributes> undisturbed = stream(*packet, 0, reached);
  long failures = 0;
  for (long n = 1;; n += n < 60 ? 1 : 41) {
    const std::vector<Attributes> all = stream(*packet, n, reached);
    if (!reached) break;
    ++failures;
    // An extraction that fails for lack of memory is an analysis without
    // attributes; everything else goes on as if nothing had happened.
    int missing = 0;
    for (std::size_t i = 0; i < all.size(); ++i) {
      if (all[i] == undisturbed[i]) continue;
      ++missing;
      ASSERT_TRUE(all[i].empty()) << "allocation " << n << ", packet " << i;
    }
    ASSERT_LE(missing, 1) << "allocation " << n;
  }
  EXPECT_GT(failures, 60);
}

}  // namespace
