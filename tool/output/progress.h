#pragma once

#include <memory>

namespace audiomatch {

/// A bar on standard error that grows while things get done; nothing at all
/// where nobody watches.
class Progress {
 public:
  /// @param wanted  false for no bar; there is none either when standard error
  ///                isn't a terminal
  /// @param total   steps until the end
  Progress(bool wanted, unsigned long total);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  /// Ends the line of a bar that isn't full.
  ~Progress();

  /// One more is done.
  void step();

 private:
  struct Bar;
  std::unique_ptr<Bar> bar_;
};

}  // namespace audiomatch
