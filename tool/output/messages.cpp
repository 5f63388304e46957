#include "tool/output/messages.h"

#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <string>

#include "tool/output/display_text.h"
#include "tool/output/status_line.h"
#include "tool/output/text.h"

namespace audiomatch {
namespace {

std::atomic<bool> json_messages = false;
std::atomic<bool> drops_unread = false;

/// Whether a message can be written without waiting, or may be waited with.
bool mayWrite() noexcept {
  pollfd watched{STDERR_FILENO, POLLOUT, 0};
  return !drops_unread || poll(&watched, 1, 0) > 0;
}

std::string asJson(const char* severity, std::string_view text, const std::filesystem::path& file) {
  nlohmann::ordered_json message{{"severity", severity}, {"message", text}};
  if (!file.empty()) message["file"] = file.native();
  return jsonLine(std::move(message));
}

std::string asText(std::string_view text, const std::filesystem::path& file) {
  std::string line = "audiomatch: ";
  if (!file.empty()) line += printable(file.native()) + ": ";
  return line + printable(text) + '\n';
}

void tell(const char* severity, std::string_view text, const std::filesystem::path& file) noexcept {
  if (!mayWrite()) return;
  try {
    printAboveStatus(stderr, json_messages ? asJson(severity, text, file) : asText(text, file));
  } catch (const std::exception&) {
    // Short of memory, but not of this.
    printAboveStatus(stderr, json_messages
                                 ? "{\"severity\":\"error\",\"message\":\"out of memory\"}\n"
                                 : "audiomatch: out of memory\n");
  }
}

void tell(const char* severity, const FileError& error) noexcept {
  try {
    tell(severity, error.problem(), error.path());
  } catch (const std::exception&) {
    tell(severity, error.what(), {});
  }
}

}  // namespace

void setJsonMessages(bool json) noexcept { json_messages = json; }

void dropUnreadMessages() noexcept { drops_unread = true; }

void report(std::string_view text, const std::filesystem::path& file) noexcept {
  tell("error", text, file);
}

void report(const FileError& error) noexcept { tell("error", error); }

void warn(std::string_view text, const std::filesystem::path& file) noexcept {
  tell("warning", text, file);
}

void warn(const FileError& error) noexcept { tell("warning", error); }

void note(std::string_view text, const std::filesystem::path& file) noexcept {
  tell("note", text, file);
}

}  // namespace audiomatch
