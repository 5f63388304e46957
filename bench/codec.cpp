#include <sndfile.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "effects.h"

namespace bench {
namespace {

/// A file in memory, as libsndfile sees it.
struct MemoryFile {
  std::vector<char> bytes;
  sf_count_t place = 0;

  static MemoryFile& of(void* self) { return *static_cast<MemoryFile*>(self); }
  static sf_count_t length(void* self) { return static_cast<sf_count_t>(of(self).bytes.size()); }
  static sf_count_t tell(void* self) { return of(self).place; }
  static sf_count_t seek(sf_count_t offset, int whence, void* self) {
    const sf_count_t from = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? tell(self) : length(self);
    return of(self).place = from + offset;
  }
  static sf_count_t read(void* to, sf_count_t size, void* self) {
    const sf_count_t came = std::min(size, length(self) - tell(self));
    if (came <= 0) return 0;
    std::memcpy(to, of(self).bytes.data() + tell(self), static_cast<std::size_t>(came));
    of(self).place += came;
    return came;
  }
  static sf_count_t write(const void* from, sf_count_t size, void* self) {
    const auto end = static_cast<std::size_t>(tell(self) + size);
    if (of(self).bytes.size() < end) of(self).bytes.resize(end);
    std::memcpy(of(self).bytes.data() + tell(self), from, static_cast<std::size_t>(size));
    of(self).place += size;
    return size;
  }
};

SF_VIRTUAL_IO kMemory{MemoryFile::length, MemoryFile::seek, MemoryFile::read, MemoryFile::write,
                      MemoryFile::tell};

/// A sound in a format of libsndfile's at its rate, and decoded again.
///
/// @param level  of compression, as libsndfile takes it; of an own bit rate throughout
Sound throughCodec(const Sound& sound, int format, std::optional<double> level = {}) {
  MemoryFile file;
  SF_INFO info{};
  info.samplerate = static_cast<int>(sound.rate);
  info.channels = 1;
  info.format = format;
  SNDFILE* const encoder = sf_open_virtual(&kMemory, SFM_WRITE, &info, &file);
  if (!encoder) std::abort();
  if (level) {
    int mode = SF_BITRATE_MODE_CONSTANT;
    sf_command(encoder, SFC_SET_BITRATE_MODE, &mode, sizeof mode);
    sf_command(encoder, SFC_SET_COMPRESSION_LEVEL, &*level, sizeof *level);
  }
  sf_writef_float(encoder, sound.samples.data(), static_cast<sf_count_t>(sound.samples.size()));
  sf_close(encoder);
  file.place = 0;
  info = {};
  SNDFILE* const decoder = sf_open_virtual(&kMemory, SFM_READ, &info, &file);
  if (!decoder) std::abort();
  Sound decoded{std::vector<float>(static_cast<std::size_t>(info.frames)),
                static_cast<std::uint32_t>(info.samplerate)};
  const sf_count_t came = sf_readf_float(decoder, decoded.samples.data(), info.frames);
  decoded.samples.resize(static_cast<std::size_t>(came));
  sf_close(decoder);
  return decoded;
}

/// libsndfile's level for a bit rate between the highest, which is 0, and the lowest, 1.
double levelOf(double kilobits, double highest, double lowest) {
  return (highest - kilobits) / (highest - lowest);
}

}  // namespace

Sound throughMp3(const Sound& sound, double kilobits) {
  constexpr std::uint32_t kLowestFullRate = 32'000;
  const double level =
      sound.rate < kLowestFullRate ? levelOf(kilobits, 160.0, 8.0) : levelOf(kilobits, 320.0, 32.0);
  return throughCodec(sound, SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, level);
}

Sound throughOpus(const Sound& sound, double kilobits) {
  return throughCodec(sound, SF_FORMAT_OGG | SF_FORMAT_OPUS, levelOf(kilobits, 256.0, 6.0));
}

Sound throughGsm(const Sound& sound) {
  return throughCodec(sound, SF_FORMAT_WAV | SF_FORMAT_GSM610);
}

}  // namespace bench
