#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace audiomatch {

/// Prints what several threads make of a row of inputs, in the order of the
/// inputs: what belongs to the first that isn't finished at once, what belongs
/// to later ones when their turn comes. Any thread.
class OrderedOutput {
 public:
  /// @param inputs  their number
  explicit OrderedOutput(std::size_t inputs) : waiting_(inputs), finished_(inputs) {}

  /// Prints text, whole lines, of an input.
  void print(std::size_t input, std::string_view text);

  /// Nothing more comes of an input.
  void finish(std::size_t input);

 private:
  std::mutex mutex_;
  std::vector<std::string> waiting_;
  std::vector<bool> finished_;
  std::size_t turn_ = 0;
};

}  // namespace audiomatch
