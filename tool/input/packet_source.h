#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

#include "tool/base/interrupt.h"
#include "tool/input/audio_reader.h"

namespace audiomatch {

/// Where a stream's packets come from.
class PacketSource {
 public:
  virtual ~PacketSource() = default;

  virtual std::uint32_t sampleRate() const noexcept = 0;
  virtual std::uint32_t channels() const noexcept = 0;

  /// Replaces `samples` by the next `frames` frames, interleaved. False when
  /// there aren't as many, then `samples` holds what was left; also when a
  /// signal came. Throws FileError.
  virtual bool next(std::vector<std::int16_t>& samples, std::size_t frames) = 0;
};

/// The packets of a sound file, as fast as they are asked for.
class FilePackets : public PacketSource {
 public:
  /// Throws FileError as AudioReader does.
  explicit FilePackets(const std::filesystem::path& path) : reader_(path) {}

  std::uint32_t sampleRate() const noexcept override { return reader_.sampleRate(); }
  std::uint32_t channels() const noexcept override { return reader_.channels(); }
  bool next(std::vector<std::int16_t>& samples, std::size_t frames) override;

 private:
  AudioReader reader_;
};

/// Packets from standard input as they arrive: signed 16-bit little-endian
/// samples, interleaved by channel.
class PipePackets : public PacketSource {
 public:
  /// @param guard  outlives this object; its signals end the packets
  PipePackets(std::uint32_t sampleRate, std::uint32_t channels,
              const InterruptGuard& guard) noexcept
      : sample_rate_(sampleRate), channels_(channels), guard_(guard) {}

  std::uint32_t sampleRate() const noexcept override { return sample_rate_; }
  std::uint32_t channels() const noexcept override { return channels_; }
  bool next(std::vector<std::int16_t>& samples, std::size_t frames) override;

 private:
  std::size_t readBytes(std::size_t size);

  std::uint32_t sample_rate_;
  std::uint32_t channels_;
  const InterruptGuard& guard_;
  std::vector<unsigned char> bytes_;
};

}  // namespace audiomatch
