// The n-th `new` of the library fails, then the n+1-th, until the native
// passes: it gives its failure value, says so, breaks no rule of JNI, and the
// same object does the job afterwards.

#include <dlfcn.h>
#include <sys/mman.h>

#include <set>
#include <utility>

#include "jni/exports.h"
#include "jni/native_test.h"
#include "support/failing_new.h"
#include "support/music_database.h"
#include "support/test_audio.h"

namespace {

/// True for code of the library, whose own allocations are the ones to fail.
bool inLibrary(const void* code) {
  Dl_info library;
  Dl_info place;
  return dladdr(reinterpret_cast<void*>(&matcher::init), &library) != 0 &&
         dladdr(code, &place) != 0 && place.dli_fbase == library.dli_fbase;
}

/// Where the library's next object is to stand, if anywhere.
thread_local void* place_next = nullptr;

}  // namespace

void* testing_support::allocate(std::size_t size, const void* caller) noexcept {
  if (inLibrary(caller)) {
    if (place_next) return std::exchange(place_next, nullptr);
    if (fails()) return nullptr;
  }
  return std::malloc(size);
}

namespace {

using namespace testing_support;

constexpr jlong kRate = 8000;
constexpr jlong kFrames = 5000;

class FailingMemory : public NativeTest {
 protected:
  /// Lets every allocation of `native` fail once. Each failure gives
  /// `failure`, and among the messages are `texts`.
  template <typename Native, typename Value>
  void failEach(const Native& native, const Value& failure, const Messages& texts) {
    std::set<std::string> heard;
    const auto success = call(native);
    EXPECT_NE(success, failure);
    for (long n = 1;; ++n) {
      failing = n;
      const auto result = call(native);
      const bool reached = failing == 0;
      failing = 0;
      heard.insert(messages_.begin(), messages_.end());
      if (!reached) break;
      if (result == success) continue;  // a smaller block did as well
      ASSERT_EQ(result, failure) << "allocation " << n;
      ASSERT_EQ(call(native), success) << "after allocation " << n;
    }
    for (const std::string& text : texts) EXPECT_TRUE(heard.contains(text)) << text;
  }

  const std::vector<jshort> music_ = music(3, 1, kFrames, kRate);
  const jshortArray samples_ = jvm_.array(music_);
};

TEST_F(FailingMemory, WhileFingerprinting) {
  const jbyteArray bytes = jvm_.array(asBytes(music_));
  failEach([&] { return feature_extractor::extract(env(), nullptr, bytes, 1, 2 * kFrames, kRate); },
           std::nullopt,
           {"init feature extractor failed.", "load audio data failed.", "out of memory."});
}

TEST_F(FailingMemory, WhileOpeningAndMatching) {
  const TemporaryFile file(databaseOf({"this one"}, {Recording(3, 1, kFrames, kRate)}));
  const jstring path = jvm_.string(file.path());
  const auto open = [&]() -> jlong {
    const jlong handle = matcher::init(env(), nullptr, path);
    if (handle == 0) return 0;
    matcher::release(env(), nullptr, handle);
    return 1;
  };
  failEach(open, jlong{0}, {"alloc matcher failed.", "alloc database failed.", "out of memory."});

  const jlong handle = matcher::init(env(), nullptr, path);
  const jintArray level = jvm_.array<jint>({7});
  failEach(
      [&] { return matcher::match(env(), nullptr, handle, samples_, 1, kFrames, kRate, level); },
      std::optional<std::string>(""), {"out of memory.", "prepare audio data failed."});
  matcher::release(env(), nullptr, handle);
}

TEST_F(FailingMemory, AnAddressThatIsNoHandleIsNotUsed) {
  // 3 × 2^32: its low 32 bits, those of a null handle, are 0.
  void* const place = reinterpret_cast<void*>(std::uintptr_t{3} << 32);
  foreign = mmap(place, 65536, PROT_READ | PROT_WRITE,
                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
  if (foreign != place) GTEST_SKIP() << "the address is taken";
  for (int i = 0; i < 2; ++i) {
    place_next = place;
    const jlong handle = i == 0
                             ? matcher::init(env(), nullptr, nullptr)
                             : attribute_extractor::init(env(), nullptr, 1, 1, 2, kRate, 1, 1600);
    EXPECT_EQ(place_next, nullptr);
    EXPECT_NE(static_cast<std::uint32_t>(handle), 0u);
    i == 0 ? matcher::release(env(), nullptr, handle)
           : attribute_extractor::release(env(), nullptr, handle);
  }
  munmap(place, 65536);
}

TEST_F(FailingMemory, WhileServing) {
  const jobjectArray features = jvm_.objects("AudioFeature", {Fields{1, 7}, Fields{2, 9}});
  const jobjectArray attributes =
      jvm_.objects("AudioAttribute", {Fields{3 << 14 | 5, 7}, Fields{3 << 14 | 6, 9}});
  failEach([&] { return match_server::match(env(), nullptr, features, attributes, nullptr); },
           jlong{-1}, {"out of memory."});
}

TEST_F(FailingMemory, WhileAStreamBegins) {
  const auto begin = [&]() -> jlong {
    const jlong handle = attribute_extractor::init(env(), nullptr, 1, 1, 2, kRate, 1, 1600);
    if (handle == 0) return 0;
    attribute_extractor::release(env(), nullptr, handle);
    return 1;
  };
  failEach(begin, jlong{0},
           {"init stream feature extractor failed.", "alloc feature extractor failed."});
}

}  // namespace
