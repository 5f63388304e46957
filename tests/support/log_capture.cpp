#include "support/log_capture.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace testing_support {
namespace {

const std::string kHead = "I/native-log: ";

std::string withoutTime(const std::string& message) {
  const std::string before = "cvt spectrogram mag to db cost ";
  return message.rfind(before, 0) == 0 ? before + "T seconds." : message;
}

/// Leaves a note of messages that a test looks at, for the test that no message
/// goes unseen.
void noteSeen(const std::vector<std::string>& messages) {
  const std::filesystem::path folder = SEEN_MESSAGES;
  std::filesystem::create_directories(folder);
  std::ofstream file(folder / std::to_string(getpid()), std::ios::binary | std::ios::app);
  for (const std::string& message : messages) file << message << '\0';
}

}  // namespace

LogCapture::LogCapture() : saved_(dup(STDERR_FILENO)) {
  char path[] = "/tmp/log_capture_XXXXXX";
  file_ = mkstemp(path);
  if (file_ < 0) throw std::runtime_error("no temporary file");
  unlink(path);
  dup2(file_, STDERR_FILENO);
}

LogCapture::~LogCapture() {
  dup2(saved_, STDERR_FILENO);
  close(saved_);
  close(file_);
}

std::string LogCapture::text() const {
  std::string text;
  char piece[4096];
  off_t position = 0;
  for (ssize_t size; (size = pread(file_, piece, sizeof piece, position)) > 0; position += size) {
    text.append(piece, static_cast<std::size_t>(size));
  }
  return text;
}

std::vector<std::string> LogCapture::messages() const {
  std::vector<std::string> messages;
  const std::string all = text();
  for (std::size_t at = all.rfind(kHead, 0); at != std::string::npos;) {
    const std::size_t begin = at + kHead.size();
    const std::size_t next = all.find("\n" + kHead, begin);
    const std::size_t end = next == std::string::npos ? all.size() - 1 : next;
    messages.push_back(withoutTime(all.substr(begin, end - begin)));
    at = next == std::string::npos ? next : next + 1;
  }
  noteSeen(messages);
  return messages;
}

}  // namespace testing_support
