// An attribute server's scoring against reading its two Java arrays, in a real Java machine.

#include <benchmark/benchmark.h>
#include <jni.h>

#include <cstdlib>
#include <random>
#include <string>

#include "benchmarks.h"
#include "match/database/packed_entry.h"
#include "paired_run.h"

extern "C" void Java_com_vexa_norvu_kestr_audiomatch_AudioMatchServer_nativeSetNativeVerbose(
    JNIEnv*, jobject, jboolean);
extern "C" jlong
Java_com_vexa_norvu_kestr_audiomatch_AudioMatchServer_nativeMatchAudioByFeaturesAndAttributes(
    JNIEnv*, jobject, jobjectArray, jobjectArray, jfloatArray);

namespace {

constexpr jsize kFeatures = 2000;
constexpr jsize kAttributesEach = 500;  // a million in all
constexpr std::uint32_t kStreams = 1000;

/// The Java machine of the process: it can't be had a second time.
JNIEnv* javaMachine() {
  static JNIEnv* env = [] {
    std::string path = "-Djava.class.path=" AUDIOMATCH_JAR;
    JavaVMOption option{path.data(), nullptr};
    JavaVMInitArgs arguments{JNI_VERSION_1_8, 1, &option, JNI_FALSE};
    JavaVM* machine = nullptr;
    void* made = nullptr;
    if (JNI_CreateJavaVM(&machine, &made, &arguments) != JNI_OK) std::abort();
    return static_cast<JNIEnv*>(made);
  }();
  return env;
}

/// An array of objects with two `long` fields, and how to read it.
struct JavaList {
  JavaList(const char* className, const char* firstName, jsize size)
      : env(javaMachine()), type(env->FindClass(className)) {
    if (!type) std::abort();
    // A look-up that fails forbids the next.
    if (!(first = env->GetFieldID(type, firstName, "J"))) std::abort();
    if (!(second = env->GetFieldID(type, "hashKey", "J"))) std::abort();
    if (!(array = env->NewObjectArray(size, type, nullptr))) std::abort();
  }

  void set(jsize i, std::uint64_t firstValue, std::uint32_t key) const {
    const jobject object = env->AllocObject(type);
    env->SetLongField(object, first, static_cast<jlong>(firstValue));
    env->SetLongField(object, second, jlong{key});
    env->SetObjectArrayElement(array, i, object);
    env->DeleteLocalRef(object);
  }

  jlong read() const {
    jlong sum = 0;
    const jsize size = env->GetArrayLength(array);
    for (jsize i = 0; i < size; ++i) {
      const jobject object = env->GetObjectArrayElement(array, i);
      sum += env->GetLongField(object, first) + env->GetLongField(object, second);
      env->DeleteLocalRef(object);
    }
    return sum;
  }

  JNIEnv* env;
  jclass type;
  jfieldID first = nullptr;
  jfieldID second = nullptr;
  jobjectArray array = nullptr;
};

void attributeServer(benchmark::State& state) {
  const JavaList features("com/vexa/norvu/kestr/audiomatch/AudioFeature", "startTime", kFeatures);
  const JavaList attributes("com/vexa/norvu/kestr/audiomatch/AudioAttribute", "hashValue",
                            kFeatures * kAttributesEach);
  std::mt19937 random(1);
  for (jsize i = 0; i < kFeatures; ++i) {
    const auto key = static_cast<std::uint32_t>(i) * 500;
    features.set(i, static_cast<std::uint64_t>(i) / 10, key);
    for (jsize k = 0; k < kAttributesEach; ++k) {
      const auto stream = static_cast<std::uint32_t>(random()) % kStreams;
      const auto time = static_cast<std::uint32_t>(random()) % 16384;
      attributes.set(i * kAttributesEach + k, audio::packEntry(stream, time), key);
    }
  }
  JNIEnv* env = features.env;
  Java_com_vexa_norvu_kestr_audiomatch_AudioMatchServer_nativeSetNativeVerbose(env, nullptr,
                                                                               JNI_FALSE);
  const auto score = [&] {
    if (Java_com_vexa_norvu_kestr_audiomatch_AudioMatchServer_nativeMatchAudioByFeaturesAndAttributes(
            env, nullptr, features.array, attributes.array, nullptr) < 0) {
      std::abort();
    }
  };
  bench::pairedRun(state, 1.5, score,
                   [&] { benchmark::DoNotOptimize(features.read() + attributes.read()); });
}

}  // namespace

void bench::addAttributeServer() { addPaired("attributeServer", attributeServer, 15); }
