// The Java machine of the tests notices what natives must not do.

#include "jni/native_test.h"

namespace {

using namespace testing_support;

class Misuse : public testing::Test {
 protected:
  void SetUp() override { jvm_.beginCall(); }

  FakeJvm jvm_;
  JNIEnv& env_ = *jvm_.env();
  const jintArray array_ = jvm_.array<jint>({1, 2});
};

TEST_F(Misuse, OfPins) {
  jint* twice = env_.GetIntArrayElements(array_, nullptr);
  jint* past = env_.GetIntArrayElements(array_, nullptr);
  jint* other = env_.GetIntArrayElements(array_, nullptr);
  env_.GetIntArrayElements(array_, nullptr);
  twice[1] = 5;
  EXPECT_EQ(jvm_.elements<jint>(array_), (std::vector<jint>{1, 2}));
  env_.ReleaseIntArrayElements(array_, twice, 0);
  EXPECT_EQ(jvm_.elements<jint>(array_), (std::vector<jint>{1, 5}));
  env_.ReleaseIntArrayElements(array_, twice, 0);
  past[2] = 0;
  env_.ReleaseIntArrayElements(array_, past, 0);
  env_.ReleaseIntArrayElements(array_, other, JNI_ABORT);
  EXPECT_EQ(jvm_.endCall(nullptr),
            (Messages{"released what isn't pinned: IntArrayElements",
                      "written beside the elements: IntArrayElements", "release in mode 2",
                      "not released: IntArrayElements"}));
}

TEST_F(Misuse, OfReferences) {
  env_.DeleteLocalRef(env_.NewStringUTF("gone"));
  env_.NewStringUTF("left");
  env_.DeleteLocalRef(array_);
  const jstring result = env_.NewStringUTF("result");
  EXPECT_EQ(jvm_.endCall(result),
            (Messages{"deleted a reference of Java's", "reference left: String"}));
  EXPECT_EQ(jvm_.text(result), "result");
}

TEST_F(Misuse, OfAPendingException) {
  jvm_.beginCall(2);
  jint* elements = env_.GetIntArrayElements(array_, nullptr);
  EXPECT_EQ(env_.NewStringUTF("none"), nullptr);
  EXPECT_EQ(jvm_.failedCall(), "NewStringUTF \"none\"");
  EXPECT_TRUE(env_.ExceptionCheck());
  env_.ReleaseIntArrayElements(array_, elements, 0);
  EXPECT_EQ(env_.GetArrayLength(array_), 2);
  EXPECT_EQ(jvm_.endCall(nullptr), Messages{"GetArrayLength while an exception is pending"});
}

}  // namespace
