#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace audio {

struct ParameterRegistry;

/// What parameters of every kind have in common. Name and description are
/// literals that outlive the parameter.
class Parameter {
 public:
  Parameter(const Parameter&) = delete;
  Parameter& operator=(const Parameter&) = delete;

  const char* name() const noexcept { return name_; }
  const char* description() const noexcept { return description_; }
  /// As given at registration; its meaning is the registrant's.
  bool flag() const noexcept { return flag_; }
  /// True when the name contains "debug" or "display".
  bool debugNamed() const noexcept { return debug_named_; }

 protected:
  Parameter(const char* name, const char* description, bool flag) noexcept;
  ~Parameter() = default;

 private:
  const char* name_;
  const char* description_;
  bool flag_;
  bool debug_named_;
};

/// A named tunable with static storage that files itself in a registry while
/// it lives. Its owner reads `value` directly.
///
/// A name that is already taken leaves the registry as it is; a parameter
/// refused so takes nothing away when it is destroyed.
template <typename Value>
class TypedParameter : public Parameter {
 public:
  /// Looked up without making a string: a parameter ends where nothing may throw.
  using Map = std::map<std::string, TypedParameter*, std::less<>>;

  TypedParameter(Value initial, const char* name, const char* description, bool flag,
                 ParameterRegistry* registry);
  ~TypedParameter();

  Value value;

 private:
  Map* map_;
};

using IntParameter = TypedParameter<std::int32_t>;
using DoubleParameter = TypedParameter<double>;

/// The parameters by kind and name, in byte-wise name order. Does not own them.
struct ParameterRegistry {
  IntParameter::Map int_parameters_;
  DoubleParameter::Map double_parameters_;
};

/// The one registry. It is made by the first registration, hence destroyed
/// after the last parameter.
ParameterRegistry* parameterRegistry();

}  // namespace audio
