#include "jni/object_conversion.h"

#include "base/logger.h"

namespace audio::jni {
namespace {

/// A JNI local reference, deleted with its owner. Long loops would otherwise
/// fill the table of local references.
template <typename Object>
class LocalRef {
 public:
  LocalRef(JNIEnv* env, Object object) noexcept : env_(env), object_(object) {}
  LocalRef(const LocalRef&) = delete;
  LocalRef& operator=(const LocalRef&) = delete;
  ~LocalRef() {
    if (object_) env_->DeleteLocalRef(object_);
  }

  Object get() const noexcept { return object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

 private:
  JNIEnv* env_;
  Object object_;
};

/// What sets one Java class and its engine record apart.
struct FeatureClass {
  using Record = AudioFeature;
  static constexpr const char* kName = "com/vexa/norvu/kestr/audiomatch/AudioFeature";
  static constexpr const char* kFirst = "startTime";
  static constexpr const char* kSecond = "hashKey";
  static constexpr const char* kShortName = "AudioFeature";
  static void logAllocated(int n) noexcept {
    logMessage("jfeatures alloc success, length = %d.", n);
  }
  static void logEmpty() noexcept { logMessage("features number is zero."); }
  static void logNumber(int n) noexcept { logMessage("features number is %d.", n); }

  static jlong first(const Record& record) noexcept { return jlong{record.startTime}; }
  static jlong second(const Record& record) noexcept { return jlong{record.hashKey}; }
  static Record record(jlong first, jlong second) noexcept {
    return {static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(second)};
  }
};

struct AttributeClass {
  using Record = AudioAttribute;
  static constexpr const char* kName = "com/vexa/norvu/kestr/audiomatch/AudioAttribute";
  static constexpr const char* kFirst = "hashValue";
  static constexpr const char* kSecond = "hashKey";
  static constexpr const char* kShortName = "AudioAttribute";
  static void logAllocated(int n) noexcept {
    logMessage("jattributes alloc success, length = %d.", n);
  }
  static void logEmpty() noexcept { logMessage("attributes array number is zero."); }
  static void logNumber(int n) noexcept { logMessage("attributes array number is %d.", n); }

  static jlong first(const Record& record) noexcept { return static_cast<jlong>(record.hashValue); }
  static jlong second(const Record& record) noexcept { return jlong{record.hashKey}; }
  static Record record(jlong first, jlong second) noexcept {
    return {static_cast<std::uint64_t>(first), static_cast<std::uint32_t>(second)};
  }
};

struct FieldIds {
  jfieldID first = nullptr;
  jfieldID second = nullptr;
};

template <typename Class>
jclass findClass(JNIEnv* env) noexcept {
  const jclass java_class = env->FindClass(Class::kName);
  if (!java_class) logMessage("can not find class %s.", Class::kShortName);
  return java_class;
}

/// Looks up both `long` fields, the second only after the first was found:
/// a failed look-up leaves an exception, and no call but releases may follow.
template <typename Class>
bool findFields(JNIEnv* env, jclass java_class, const char* logName, FieldIds& fields) noexcept {
  fields.first = env->GetFieldID(java_class, Class::kFirst, "J");
  if (fields.first) fields.second = env->GetFieldID(java_class, Class::kSecond, "J");
  if (!fields.second) logMessage("can not get %s field.", logName);
  return fields.second != nullptr;
}

template <typename Class>
bool toJava(JNIEnv* env, const std::vector<typename Class::Record>& records,
            jobjectArray& array) noexcept {
  const LocalRef<jclass> java_class(env, findClass<Class>(env));
  FieldIds fields;
  if (!java_class || !findFields<Class>(env, java_class.get(), Class::kShortName, fields)) {
    return false;
  }
  const auto n = static_cast<jsize>(records.size());
  array = env->NewObjectArray(n, java_class.get(), nullptr);
  if (!array) {
    logMessage("create %s array failed.", Class::kShortName);
    return false;
  }
  Class::logAllocated(n);
  for (jsize i = 0; i < n; ++i) {
    const LocalRef<jobject> object(env, env->AllocObject(java_class.get()));
    if (!object) {
      logMessage("alloc audio feature failed.");
      return false;
    }
    const typename Class::Record& record = records[static_cast<std::size_t>(i)];
    env->SetLongField(object.get(), fields.first, Class::first(record));
    env->SetLongField(object.get(), fields.second, Class::second(record));
    env->SetObjectArrayElement(array, i, object.get());
    if (env->ExceptionCheck()) return false;
  }
  return true;
}

template <typename Class>
bool fromJava(JNIEnv* env, jobjectArray array, std::vector<typename Class::Record>& records) {
  const jsize n = env->GetArrayLength(array);
  if (n == 0) {
    Class::logEmpty();
    return false;
  }
  Class::logNumber(n);
  const LocalRef<jclass> java_class(env, findClass<Class>(env));
  FieldIds fields;
  // On this way both classes are known to logs by the one name.
  if (!java_class || !findFields<Class>(env, java_class.get(), FeatureClass::kShortName, fields)) {
    return false;
  }
  records.assign(static_cast<std::size_t>(n), {});
  for (jsize i = 0; i < n; ++i) {
    const LocalRef<jobject> object(env, env->GetObjectArrayElement(array, i));
    if (!object) return false;
    const jlong first = env->GetLongField(object.get(), fields.first);
    const jlong second = env->GetLongField(object.get(), fields.second);
    records[static_cast<std::size_t>(i)] = Class::record(first, second);
  }
  return true;
}

}  // namespace

bool featuresToJava(JNIEnv* env, const std::vector<AudioFeature>& features,
                    jobjectArray& array) noexcept {
  return toJava<FeatureClass>(env, features, array);
}

bool attributesToJava(JNIEnv* env, const std::vector<AudioAttribute>& attributes,
                      jobjectArray& array) noexcept {
  return toJava<AttributeClass>(env, attributes, array);
}

bool featuresFromJava(JNIEnv* env, jobjectArray array, std::vector<AudioFeature>& features) {
  return fromJava<FeatureClass>(env, array, features);
}

bool attributesFromJava(JNIEnv* env, jobjectArray array, std::vector<AudioAttribute>& attributes) {
  return fromJava<AttributeClass>(env, array, attributes);
}

}  // namespace audio::jni
