#include "tool/input/ffmpeg.h"

#include <fmt/core.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>
#include <system_error>
#include <vector>

#include "tool/base/errors.h"

namespace audiomatch {
namespace {

// How the program is told what to read, and names it in its messages.
constexpr const char* kFile = "file:/dev/stdin";
constexpr const char* kPipe = "pipe:0";

/// The first line of messages, without the part of the program that says it.
std::string firstLine(const Descriptor& messages) {
  std::array<char, 512> bytes;
  const ssize_t came = pread(messages.get(), bytes.data(), bytes.size(), 0);
  std::string_view text(bytes.data(), came > 0 ? static_cast<std::size_t>(came) : 0);
  text = text.substr(0, text.find('\n'));
  if (text.starts_with('[')) text.remove_prefix(std::min(text.find("] "), text.size() - 2) + 2);
  for (const std::string_view input : {kFile, kPipe}) {
    if (text.starts_with(input)) text.remove_prefix(std::min(input.size() + 2, text.size()));
  }
  return std::string(text);
}

Descriptor openMessages() {
  Descriptor messages(memfd_create("ffmpeg's messages", MFD_CLOEXEC));
  if (messages.get() < 0) throw std::system_error(errno, std::generic_category(), "memfd_create");
  return messages;
}

/// Starts a program with these standard streams; closes none of them. Nothing
/// when it isn't there.
std::optional<pid_t> start(std::vector<const char*> arguments, const std::array<int, 3>& streams) {
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (int stream = 0; stream < 3; ++stream) {
    posix_spawn_file_actions_adddup2(&actions, streams[static_cast<std::size_t>(stream)], stream);
  }
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t ignored_here;
  sigemptyset(&ignored_here);
  sigaddset(&ignored_here, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &ignored_here);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t process = 0;
  // The strings aren't written to; the interface is older than const.
  const int error = posix_spawnp(&process, arguments[0], &actions, &attributes,
                                 const_cast<char* const*>(arguments.data()), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (error == ENOENT) return {};
  if (error != 0) throw std::system_error(error, std::generic_category(), arguments[0]);
  return process;
}

/// Waits for the end. 0 for success.
int statusOf(pid_t process) noexcept {
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    // Somebody else collected it: its status isn't known.
    if (errno != EINTR) return 0;
  }
  return status;
}

/// The format of the first sound's samples, in ffmpeg's words; nothing when
/// there is no ffmpeg. Throws FileError when there is no sound.
std::optional<std::string> sampleFormat(const Descriptor& file, const std::filesystem::path& name) {
  const Descriptor messages = openMessages();
  const Descriptor answer = openMessages();
  const std::optional<pid_t> process =
      start({"ffprobe", "-v", "error", "-protocol_whitelist", "file", "-select_streams", "a:0",
             "-show_entries", "stream=sample_fmt", "-of", "default=nw=1:nk=1", kFile},
            {file.get(), answer.get(), messages.get()});
  if (!process) return {};
  statusOf(*process);
  std::string format = firstLine(answer);
  if (!format.empty()) return format;
  const std::string problem = firstLine(messages);
  throw FileError(name, problem.empty() ? "not audio: ffmpeg finds no sound in it"
                                        : "not audio that can be read: ffmpeg: " + problem);
}

/// The encoding that loses nothing of such samples.
const char* encodingFor(std::string_view sample_format) noexcept {
  if (sample_format.starts_with("s32")) return "pcm_s32be";
  if (sample_format.starts_with("s16") || sample_format.starts_with("u8")) return "pcm_s16be";
  return sample_format.starts_with("dbl") ? "pcm_f64be" : "pcm_f32be";
}

}  // namespace

std::unique_ptr<Ffmpeg> Ffmpeg::ofFile(const Descriptor& file, const std::filesystem::path& name,
                                       const Descriptor& writing) {
  const std::optional<std::string> format = sampleFormat(file, name);
  if (!format) return nullptr;
  std::unique_ptr<Ffmpeg> ffmpeg(new Ffmpeg);
  ffmpeg->messages_ = openMessages();
  ffmpeg->process_ = start(
      {"ffmpeg", "-nostdin", "-hide_banner", "-v", "error", "-protocol_whitelist", "file,pipe",
       "-i", kFile, "-map", "0:a:0", "-f", "au", "-c:a", encodingFor(*format), "pipe:1"},
      {file.get(), writing.get(), ffmpeg->messages_.get()});
  return ffmpeg->process_ ? std::move(ffmpeg) : nullptr;
}

std::unique_ptr<Ffmpeg> Ffmpeg::ofPipe(const Descriptor& pipe, std::unique_ptr<Feeder> feeder,
                                       const Descriptor& writing) {
  std::unique_ptr<Ffmpeg> ffmpeg(new Ffmpeg);
  ffmpeg->feeder_ = std::move(feeder);
  ffmpeg->messages_ = openMessages();
  // It may be live: no long look ahead, and every packet passed on at once.
  ffmpeg->process_ = start({"ffmpeg",
                            "-nostdin",
                            "-hide_banner",
                            "-v",
                            "error",
                            "-protocol_whitelist",
                            "pipe",
                            "-analyzeduration",
                            "500000",
                            "-i",
                            kPipe,
                            "-map",
                            "0:a:0",
                            "-flush_packets",
                            "1",
                            "-f",
                            "au",
                            "-c:a",
                            "pcm_f32be",
                            "pipe:1"},
                           {pipe.get(), writing.get(), ffmpeg->messages_.get()});
  return ffmpeg->process_ ? std::move(ffmpeg) : nullptr;
}

Ffmpeg::~Ffmpeg() {
  if (!process_) return;
  kill(*process_, SIGKILL);
  statusOf(*process_);
}

std::string Ffmpeg::problem(bool ended) {
  int status = 0;
  if (ended && process_) {
    // Nobody reads its output any more: it ends by itself, or has.
    status = statusOf(*process_);
    process_.reset();
    if (feeder_) feeder_->problem(true);
  }
  const std::string line = firstLine(messages_);
  if (!line.empty()) {
    return "ffmpeg: " + line + (feeder_ ? " (from a pipe; it may be read as a file)" : "");
  }
  if (WIFSIGNALED(status)) return fmt::format("ffmpeg was ended by signal {}", WTERMSIG(status));
  return status != 0 ? "ffmpeg failed without saying why" : "";
}

}  // namespace audiomatch
