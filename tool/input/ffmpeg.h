#pragma once

#include <sys/types.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string_view>

#include "tool/input/descriptor.h"
#include "tool/input/feeder.h"

namespace audiomatch {

/// A run of the program ffmpeg that decodes the first sound of a file or pipe
/// into an AU stream, as the integers or floats that it was made of.
class Ffmpeg : public Feeder {
 public:
  /// Decodes an open file. The program gets the file rather than its name, so
  /// that no name is mistaken for an option or an address. Null when there is
  /// no ffmpeg; throws FileError when there is no sound in the file.
  ///
  /// @param name     of the file, for messages
  /// @param writing  where to: a socket
  static std::unique_ptr<Ffmpeg> ofFile(const Descriptor& file, const std::filesystem::path& name,
                                        const Descriptor& writing);

  /// Decodes what a feeder writes into a pipe, as it comes. Null when there is
  /// no ffmpeg.
  static std::unique_ptr<Ffmpeg> ofPipe(const Descriptor& pipe, std::unique_ptr<Feeder> feeder,
                                        const Descriptor& writing);

  ~Ffmpeg() override;
  std::string problem(bool ended) override;

 private:
  Ffmpeg() = default;

  Descriptor messages_;  // what ffmpeg has written to its standard error
  std::optional<pid_t> process_;
  std::unique_ptr<Feeder> feeder_;
};

}  // namespace audiomatch
