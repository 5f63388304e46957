#include "tool/output/status_line.h"

#include <mutex>
#include <utility>

namespace audiomatch {
namespace {

// Back to the first column, and nothing from there to the end of the line.
constexpr const char* kClear = "\r\x1b[K";

std::mutex mutex;
std::string& shown() {
  static std::string text;
  return text;
}

void draw() noexcept {
  std::fputs(kClear, stderr);
  std::fputs(shown().c_str(), stderr);
  std::fflush(stderr);
}

}  // namespace

void showStatus(std::string text) {
  const std::lock_guard lock(mutex);
  if (text == shown()) return;
  shown() = std::move(text);
  draw();
}

void printAboveStatus(std::FILE* stream, std::string_view text) noexcept {
  const std::lock_guard lock(mutex);
  const bool covered = !shown().empty();
  if (covered) {
    std::fputs(kClear, stderr);
    std::fflush(stderr);
  }
  std::fwrite(text.data(), 1, text.size(), stream);
  std::fflush(stream);
  if (covered) draw();
}

}  // namespace audiomatch
