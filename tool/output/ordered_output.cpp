#include "tool/output/ordered_output.h"

#include <cstdio>
#include <utility>

#include "tool/output/status_line.h"

namespace audiomatch {
namespace {

void write(std::string_view text) {
  if (!text.empty()) printAboveStatus(stdout, text);
}

}  // namespace

void OrderedOutput::print(std::size_t input, std::string_view text) {
  const std::lock_guard lock(mutex_);
  if (input == turn_) {
    write(text);
  } else {
    waiting_[input] += text;
  }
}

void OrderedOutput::finish(std::size_t input) {
  const std::lock_guard lock(mutex_);
  finished_[input] = true;
  while (turn_ < finished_.size() && finished_[turn_]) {
    if (++turn_ < waiting_.size()) write(std::exchange(waiting_[turn_], {}));
  }
}

}  // namespace audiomatch
