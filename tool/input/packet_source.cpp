#include "tool/input/packet_source.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/little_endian.h"
#include "tool/base/errors.h"

namespace audiomatch {

bool FilePackets::next(std::vector<std::int16_t>& samples, std::size_t frames) {
  samples.clear();
  return reader_.read(samples, frames) == frames;
}

bool PipePackets::next(std::vector<std::int16_t>& samples, std::size_t frames) {
  const std::size_t wanted = frames * channels_;
  const std::size_t came = readBytes(wanted * sizeof(std::int16_t)) / sizeof(std::int16_t);
  samples.resize(came);
  for (std::size_t i = 0; i < came; ++i) {
    samples[i] = audio::loadLittleEndian<std::int16_t>(bytes_.data() + i * sizeof(std::int16_t));
  }
  return came == wanted;
}

/// Waits for `size` bytes; returns how many came before the end or a signal.
std::size_t PipePackets::readBytes(std::size_t size) {
  bytes_.resize(size);
  std::size_t done = 0;
  while (done < size && guard_.wait(STDIN_FILENO, POLLIN)) {
    const ssize_t came = read(STDIN_FILENO, bytes_.data() + done, size - done);
    if (came == 0) break;
    if (came > 0) done += static_cast<std::size_t>(came);
    if (came < 0 && errno != EINTR && errno != EAGAIN) {
      throw FileError("standard input", std::strerror(errno));
    }
  }
  return done;
}

}  // namespace audiomatch
