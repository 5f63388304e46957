#include "base/parameter.h"

#include <cstring>

namespace audio {
namespace {

IntParameter::Map& mapOfKind(ParameterRegistry& registry, const IntParameter*) {
  return registry.int_parameters_;
}

DoubleParameter::Map& mapOfKind(ParameterRegistry& registry, const DoubleParameter*) {
  return registry.double_parameters_;
}

bool namesDebugging(const char* name) noexcept {
  return std::strstr(name, "debug") != nullptr || std::strstr(name, "display") != nullptr;
}

}  // namespace

Parameter::Parameter(const char* name, const char* description, bool flag) noexcept
    : name_(name), description_(description), flag_(flag), debug_named_(namesDebugging(name)) {}

template <typename Value>
TypedParameter<Value>::TypedParameter(Value initial, const char* name, const char* description,
                                      bool flag, ParameterRegistry* registry)
    : Parameter(name, description, flag), value(initial), map_(&mapOfKind(*registry, this)) {
  map_->emplace(name, this);
}

template <typename Value>
TypedParameter<Value>::~TypedParameter() {
  const auto entry = map_->find(name());
  if (entry != map_->end() && entry->second == this) map_->erase(entry);
}

template class TypedParameter<std::int32_t>;
template class TypedParameter<double>;

ParameterRegistry* parameterRegistry() {
  static ParameterRegistry registry;
  return &registry;
}

}  // namespace audio
