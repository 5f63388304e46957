#pragma once

#include <stdexcept>
#include <string>

namespace audiomatch {

/// A request that can't be done, for a reason that its sender should know.
class HttpError : public std::runtime_error {
 public:
  HttpError(unsigned status, const std::string& reason)
      : std::runtime_error(reason), status_(status) {}

  unsigned status() const noexcept { return status_; }

 private:
  unsigned status_;
};

}  // namespace audiomatch
