#pragma once

#include <jni.h>

#include <cstddef>
#include <cstring>
#include <deque>
#include <list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace testing_support {

/// The two `long` fields of an AudioFeature or AudioAttribute, in their order.
using Fields = std::pair<jlong, jlong>;
/// An array of such objects; null elements hold nothing.
using Objects = std::vector<std::optional<Fields>>;

/// The JNI type of an array, and how the names of JNI's calls speak of it.
template <typename Element>
struct ArrayOf;
template <>
struct ArrayOf<jbyte> {
  using Type = jbyteArray;
  static constexpr const char* kName = "ByteArrayElements";
};
template <>
struct ArrayOf<jshort> {
  using Type = jshortArray;
  static constexpr const char* kName = "ShortArrayElements";
};
template <>
struct ArrayOf<jint> {
  using Type = jintArray;
  static constexpr const char* kName = "IntArrayElements";
};
template <>
struct ArrayOf<jfloat> {
  using Type = jfloatArray;
  static constexpr const char* kName = "FloatArrayElements";
};

/// As much of a Java machine as natives may use: strings, arrays, the classes
/// AudioFeature and AudioAttribute. It can let a call fail, and it keeps
/// account of what a native took and of the rules that it broke. Arrays are
/// pinned as copies between guard bytes, copied back on release. A call of
/// anything else, or on what isn't there, prints what it was and aborts.
///
/// One native call stands between `beginCall` and `endCall`. Objects live as
/// long as the machine.
class FakeJvm {
 public:
  FakeJvm();
  FakeJvm(const FakeJvm&) = delete;
  FakeJvm& operator=(const FakeJvm&) = delete;

  JNIEnv* env() { return &env_; }

  // What Java code holds: references that natives get as arguments.
  jstring string(const std::string& modified_utf8);
  jobjectArray objects(const char* class_name, const Objects& objects);
  template <typename Element>
  typename ArrayOf<Element>::Type array(const std::vector<Element>& elements) {
    Object& object = add(kPrimitives, ArrayOf<Element>::kName);
    object.length = static_cast<jsize>(elements.size());
    object.bytes.resize(elements.size() * sizeof(Element));
    if (!elements.empty()) std::memcpy(object.bytes.data(), elements.data(), object.bytes.size());
    return static_cast<typename ArrayOf<Element>::Type>(refer(object, false));
  }

  // What has become of it. Null gives nothing.
  std::optional<std::string> text(jstring string);
  std::optional<Objects> read(jobjectArray array);
  template <typename Element>
  std::vector<Element> elements(typename ArrayOf<Element>::Type array) {
    const std::vector<std::byte>& bytes = object(array, kPrimitives).bytes;
    std::vector<Element> elements(bytes.size() / sizeof(Element));
    if (!bytes.empty()) std::memcpy(elements.data(), bytes.data(), bytes.size());
    return elements;
  }

  /// Starts a native call in which the `failing`-th call that can fail does,
  /// with an exception pending; none for 0.
  void beginCall(long failing = 0);

  /// Ends it. Returns the rules that it broke, also those of the end: nothing
  /// is pinned and no local reference left but the result.
  std::vector<std::string> endCall(jobject result);

  /// The call that failed, such as "GetFieldID AudioFeature.hashKey"; empty
  /// when none did.
  const std::string& failedCall() const { return failed_call_; }

  /// All calls since `beginCall`, written like that.
  const std::vector<std::string>& calls() const { return calls_; }

  /// Those of them that pin or release an array.
  std::vector<std::string> pinningCalls() const;

 private:
  struct Calls;  // the table's functions
  struct Env : JNIEnv_ {
    FakeJvm* jvm;
  };
  enum Kind { kPrimitives, kString, kClass, kRecord, kRecords };
  struct Object {
    Kind kind;
    std::string type;              // of primitives ArrayOf's name, else that of the class
    std::vector<std::byte> bytes;  // elements of primitives, characters and NUL of a string
    jsize length = 0;              // of an array
    std::vector<Object*> elements;
    jlong fields[2] = {};
  };
  struct Reference {
    Object* object;
    bool local;
    bool live;
  };
  struct Pin {
    Object* object;
    std::vector<std::byte> memory;
  };

  Object& add(Kind kind, const std::string& type);
  jobject refer(Object& object, bool local);
  Reference& reference(jobject ref);
  Object& object(jobject ref, Kind kind);
  bool fails();
  void* pin(Object& object);
  std::vector<std::byte> unpin(const Object& object, const void* elements);

  JNINativeInterface_ table_;
  Env env_;
  std::deque<Object> objects_;
  std::deque<Reference> references_;
  std::size_t first_local_ = 0;  // references from here on came with the present call
  std::list<Pin> pins_;
  std::vector<std::string> calls_;
  std::vector<std::string> violations_;
  std::string failed_call_;
  bool pending_ = false;  // an exception
  long until_failure_ = 0;
};

}  // namespace testing_support
