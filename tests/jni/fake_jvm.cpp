#include "jni/fake_jvm.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>

namespace testing_support {
namespace {

constexpr std::size_t kGuardBytes = 64;
constexpr std::byte kGuard{0xA5};
constexpr const char* kPackage = "com/vexa/norvu/kestr/audiomatch/";

struct Field {
  std::string name;
  std::size_t number;
};
const Field kFields[] = {{"AudioFeature.startTime", 0},
                         {"AudioFeature.hashKey", 1},
                         {"AudioAttribute.hashValue", 0},
                         {"AudioAttribute.hashKey", 1}};

/// To standard output, since standard error may be captured.
[[noreturn]] void stop(const std::string& what) {
  std::printf("JNI: %s\n", what.c_str());
  std::fflush(stdout);
  std::abort();
}

template <std::size_t slot>
void unexpectedCall() {
  stop("unexpected call of slot " + std::to_string(slot));
}

template <std::size_t... slots>
void fillWithUnexpected(void** table, std::index_sequence<slots...>) {
  ((table[slots] = reinterpret_cast<void*>(&unexpectedCall<slots>)), ...);
}

}  // namespace

struct FakeJvm::Calls {
  static FakeJvm& machine(JNIEnv* env) { return *static_cast<Env*>(env)->jvm; }

  /// A call that may stand while an exception is pending.
  static FakeJvm& enterAlways(JNIEnv* env, const std::string& call) {
    machine(env).calls_.push_back(call);
    return machine(env);
  }

  static FakeJvm& enter(JNIEnv* env, const std::string& call) {
    FakeJvm& jvm = enterAlways(env, call);
    if (jvm.pending_) jvm.violations_.push_back(call + " while an exception is pending");
    return jvm;
  }

  template <typename Element>
  static Element* pinElements(JNIEnv* env, typename ArrayOf<Element>::Type array, jboolean* copy) {
    FakeJvm& jvm = enter(env, std::string("Get") + ArrayOf<Element>::kName);
    if (jvm.fails()) return nullptr;
    if (copy) *copy = JNI_TRUE;
    return static_cast<Element*>(jvm.pin(jvm.object(array, kPrimitives)));
  }

  template <typename Element>
  static void releaseElements(JNIEnv* env, typename ArrayOf<Element>::Type array, Element* elements,
                              jint mode) {
    FakeJvm& jvm = enterAlways(env, std::string("Release") + ArrayOf<Element>::kName);
    if (mode != 0) jvm.violations_.push_back("release in mode " + std::to_string(mode));
    Object& object = jvm.object(array, kPrimitives);
    object.bytes = jvm.unpin(object, elements);
  }

  static const char* stringChars(JNIEnv* env, jstring string, jboolean* copy) {
    FakeJvm& jvm = enter(env, "GetStringUTFChars");
    if (jvm.fails()) return nullptr;
    if (copy) *copy = JNI_TRUE;
    return static_cast<const char*>(jvm.pin(jvm.object(string, kString)));
  }

  static void releaseStringChars(JNIEnv* env, jstring string, const char* characters) {
    FakeJvm& jvm = enterAlways(env, "ReleaseStringUTFChars");
    const Object& object = jvm.object(string, kString);
    if (jvm.unpin(object, characters) != object.bytes)
      jvm.violations_.push_back("changed characters of a string");
  }

  static jstring newString(JNIEnv* env, const char* text) {
    FakeJvm& jvm = enter(env, std::string("NewStringUTF \"") + text + '"');
    if (jvm.fails()) return nullptr;
    const jstring string = jvm.string(text);
    jvm.reference(string).local = true;
    return string;
  }

  static jclass findClass(JNIEnv* env, const char* path) {
    std::string name = path;
    if (name.rfind(kPackage, 0) != 0) stop("class " + name);
    name.erase(0, std::strlen(kPackage));
    FakeJvm& jvm = enter(env, "FindClass " + name);
    return jvm.fails() ? nullptr : static_cast<jclass>(jvm.refer(jvm.add(kClass, name), true));
  }

  static jfieldID fieldId(JNIEnv* env, jclass java_class, const char* name, const char* type) {
    const std::string field = machine(env).object(java_class, kClass).type + '.' + name;
    FakeJvm& jvm = enter(env, "GetFieldID " + field);
    const auto found = std::find_if(std::begin(kFields), std::end(kFields),
                                    [&](const Field& f) { return f.name == field; });
    if (found == std::end(kFields) || type != std::string("J")) stop("field " + field);
    return jvm.fails() ? nullptr : reinterpret_cast<jfieldID>(const_cast<Field*>(found));
  }

  static jlong& field(FakeJvm& jvm, jobject ref, jfieldID id) {
    if (!id) stop("a null field");
    const Field& field = *reinterpret_cast<const Field*>(id);
    Object& object = jvm.object(ref, kRecord);
    if (field.name.rfind(object.type + '.', 0) != 0) stop(field.name + " of another class");
    return object.fields[field.number];
  }

  static jlong getLong(JNIEnv* env, jobject ref, jfieldID id) {
    return field(enter(env, "GetLongField"), ref, id);
  }

  static void setLong(JNIEnv* env, jobject ref, jfieldID id, jlong value) {
    field(enter(env, "SetLongField"), ref, id) = value;
  }

  static jobject allocate(JNIEnv* env, jclass java_class) {
    const std::string name = machine(env).object(java_class, kClass).type;
    FakeJvm& jvm = enter(env, "AllocObject " + name);
    return jvm.fails() ? nullptr : jvm.refer(jvm.add(kRecord, name), true);
  }

  static jobjectArray newArray(JNIEnv* env, jsize length, jclass java_class, jobject initial) {
    const std::string name = machine(env).object(java_class, kClass).type;
    FakeJvm& jvm = enter(env, "NewObjectArray " + name);
    if (length < 0 || initial) stop("an array of other than nulls");
    if (jvm.fails()) return nullptr;
    Object& array = jvm.add(kRecords, name);
    array.length = length;
    array.elements.resize(static_cast<std::size_t>(length));
    return static_cast<jobjectArray>(jvm.refer(array, true));
  }

  static Object*& element(Object& array, jsize i) {
    if (i < 0 || i >= array.length) stop("element " + std::to_string(i));
    return array.elements[static_cast<std::size_t>(i)];
  }

  static jobject getElement(JNIEnv* env, jobjectArray ref, jsize i) {
    Object& array = machine(env).object(ref, kRecords);
    FakeJvm& jvm = enter(env, "GetObjectArrayElement " + array.type);
    return jvm.fails() || !element(array, i) ? nullptr : jvm.refer(*element(array, i), true);
  }

  static void setElement(JNIEnv* env, jobjectArray ref, jsize i, jobject value) {
    Object& array = machine(env).object(ref, kRecords);
    FakeJvm& jvm = enter(env, "SetObjectArrayElement " + array.type);
    Object& object = jvm.object(value, kRecord);
    if (object.type != array.type) stop("an element of another class");
    if (!jvm.fails()) element(array, i) = &object;
  }

  static jsize length(JNIEnv* env, jarray array) {
    return enter(env, "GetArrayLength").reference(array).object->length;
  }

  static void deleteLocal(JNIEnv* env, jobject ref) {
    FakeJvm& jvm = enterAlways(env, "DeleteLocalRef");
    Reference& reference = jvm.reference(ref);
    if (!reference.local) jvm.violations_.push_back("deleted a reference of Java's");
    reference.live = false;
  }

  static jboolean exceptionCheck(JNIEnv* env) {
    return enterAlways(env, "ExceptionCheck").pending_ ? JNI_TRUE : JNI_FALSE;
  }

  static void fill(JNINativeInterface_& table) {
    fillWithUnexpected(reinterpret_cast<void**>(&table),
                       std::make_index_sequence<sizeof table / sizeof(void*)>());
    table.GetByteArrayElements = &pinElements<jbyte>;
    table.GetShortArrayElements = &pinElements<jshort>;
    table.GetIntArrayElements = &pinElements<jint>;
    table.GetFloatArrayElements = &pinElements<jfloat>;
    table.ReleaseByteArrayElements = &releaseElements<jbyte>;
    table.ReleaseShortArrayElements = &releaseElements<jshort>;
    table.ReleaseIntArrayElements = &releaseElements<jint>;
    table.ReleaseFloatArrayElements = &releaseElements<jfloat>;
    table.GetStringUTFChars = &stringChars;
    table.ReleaseStringUTFChars = &releaseStringChars;
    table.NewStringUTF = &newString;
    table.FindClass = &findClass;
    table.GetFieldID = &fieldId;
    table.GetLongField = &getLong;
    table.SetLongField = &setLong;
    table.AllocObject = &allocate;
    table.NewObjectArray = &newArray;
    table.GetObjectArrayElement = &getElement;
    table.SetObjectArrayElement = &setElement;
    table.GetArrayLength = &length;
    table.DeleteLocalRef = &deleteLocal;
    table.ExceptionCheck = &exceptionCheck;
  }
};

FakeJvm::FakeJvm() {
  Calls::fill(table_);
  env_.functions = &table_;
  env_.jvm = this;
}

jstring FakeJvm::string(const std::string& modified_utf8) {
  Object& object = add(kString, "String");
  const auto* characters = reinterpret_cast<const std::byte*>(modified_utf8.c_str());
  object.bytes.assign(characters, characters + modified_utf8.size() + 1);
  return static_cast<jstring>(refer(object, false));
}

jobjectArray FakeJvm::objects(const char* class_name, const Objects& objects) {
  Object& array = add(kRecords, class_name);
  array.length = static_cast<jsize>(objects.size());
  for (const auto& fields : objects) {
    array.elements.push_back(fields ? &add(kRecord, class_name) : nullptr);
    if (!fields) continue;
    array.elements.back()->fields[0] = fields->first;
    array.elements.back()->fields[1] = fields->second;
  }
  return static_cast<jobjectArray>(refer(array, false));
}

std::optional<std::string> FakeJvm::text(jstring string) {
  if (!string) return std::nullopt;
  return reinterpret_cast<const char*>(object(string, kString).bytes.data());
}

std::optional<Objects> FakeJvm::read(jobjectArray array) {
  if (!array) return std::nullopt;
  Objects objects;
  for (const Object* element : object(array, kRecords).elements) {
    objects.emplace_back();
    if (element) objects.back() = {element->fields[0], element->fields[1]};
  }
  return objects;
}

void FakeJvm::beginCall(long failing) {
  calls_.clear();
  violations_.clear();
  failed_call_.clear();
  pending_ = false;
  until_failure_ = failing;
  first_local_ = references_.size();
}

std::vector<std::string> FakeJvm::endCall(jobject result) {
  if (result) reference(result).local = false;  // Java's from now on
  for (const Pin& pin : pins_) violations_.push_back("not released: " + pin.object->type);
  pins_.clear();
  for (std::size_t i = first_local_; i < references_.size(); ++i) {
    Reference& left = references_[i];
    if (!left.local || !left.live) continue;
    violations_.push_back("reference left: " + left.object->type);
    left.live = false;
  }
  return violations_;
}

std::vector<std::string> FakeJvm::pinningCalls() const {
  std::vector<std::string> pinning;
  std::copy_if(calls_.begin(), calls_.end(), std::back_inserter(pinning),
               [](const std::string& call) { return call.ends_with("ArrayElements"); });
  return pinning;
}

FakeJvm::Object& FakeJvm::add(Kind kind, const std::string& type) {
  objects_.emplace_back();
  objects_.back().kind = kind;
  objects_.back().type = type;
  return objects_.back();
}

jobject FakeJvm::refer(Object& object, bool local) {
  references_.push_back({&object, local, true});
  return reinterpret_cast<jobject>(&references_.back());
}

FakeJvm::Reference& FakeJvm::reference(jobject ref) {
  if (!ref) stop("a null reference");
  Reference& reference = *reinterpret_cast<Reference*>(ref);
  if (!reference.live) stop("a deleted reference");
  return reference;
}

FakeJvm::Object& FakeJvm::object(jobject ref, Kind kind) {
  Object& object = *reference(ref).object;
  if (object.kind != kind) stop("another kind of object: " + object.type);
  return object;
}

bool FakeJvm::fails() {
  if (until_failure_ == 0 || --until_failure_ > 0) return false;
  failed_call_ = calls_.back();
  pending_ = true;
  return true;
}

void* FakeJvm::pin(Object& object) {
  std::vector<std::byte> memory(2 * kGuardBytes + object.bytes.size(), kGuard);
  std::copy(object.bytes.begin(), object.bytes.end(), memory.begin() + kGuardBytes);
  pins_.push_back({&object, std::move(memory)});
  return pins_.back().memory.data() + kGuardBytes;
}

std::vector<std::byte> FakeJvm::unpin(const Object& object, const void* elements) {
  const auto pin = std::find_if(pins_.begin(), pins_.end(), [&](const Pin& p) {
    return p.object == &object && p.memory.data() + kGuardBytes == elements;
  });
  if (pin == pins_.end()) {
    violations_.push_back("released what isn't pinned: " + object.type);
    return object.bytes;
  }
  std::vector<std::byte> bytes(pin->memory.begin() + kGuardBytes, pin->memory.end() - kGuardBytes);
  const std::vector<std::byte> guard(kGuardBytes, kGuard);
  if (!std::equal(guard.begin(), guard.end(), pin->memory.begin()) ||
      !std::equal(guard.begin(), guard.end(), pin->memory.end() - kGuardBytes)) {
    violations_.push_back("written beside the elements: " + object.type);
  }
  pins_.erase(pin);
  return bytes;
}

}  // namespace testing_support
