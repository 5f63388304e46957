#include "tool/output/progress.h"

#include <unistd.h>

#include <boost/timer/progress_display.hpp>
#include <iostream>

namespace audiomatch {

struct Progress::Bar {
  explicit Bar(unsigned long total) : display(total, std::cerr, "") {}
  boost::timer::progress_display display;
};

Progress::Progress(bool wanted, unsigned long total) {
  if (wanted && isatty(STDERR_FILENO)) bar_ = std::make_unique<Bar>(total);
}

Progress::~Progress() {
  if (bar_ && bar_->display.count() < bar_->display.expected_count()) std::cerr << std::endl;
}

void Progress::step() {
  if (bar_) ++bar_->display;
}

}  // namespace audiomatch
