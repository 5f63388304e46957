#pragma once

#include <string>

namespace audiomatch {

/// Fills the pipe that an AudioReader reads from. Its destructor ends that.
class Feeder {
 public:
  virtual ~Feeder() = default;

  /// What is wrong with the sound so far, by the feeder's account; empty for
  /// nothing. Throws FileError when reading itself failed.
  ///
  /// @param ended  the pipe is at its end: the account is final
  virtual std::string problem(bool ended) = 0;
};

}  // namespace audiomatch
