#pragma once

#include <string_view>

#include "tool/base/errors.h"

namespace audiomatch {

/// A store can't be reached, or doesn't do what it is asked. Its file is the URL of
/// the store, without a password.
class StoreError : public FileError {
 public:
  StoreError(std::string_view url, std::string_view problem) : FileError(url, problem) {}
};

/// A store doesn't accept its user, or what he may do isn't enough: trying again is no use.
class StoreRefusal : public StoreError {
 public:
  using StoreError::StoreError;
};

}  // namespace audiomatch
