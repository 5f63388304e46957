#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>

namespace audiomatch {

/// A recording of a database: an audio, or the consecutive audios of its parts.
struct KeptRecording {
  std::string name;
  std::size_t parts = 1;
  // What the database itself doesn't tell; nothing where it isn't known.
  std::optional<double> seconds;
  std::optional<std::uint64_t> entries;  ///< of all parts
  std::filesystem::path file;            ///< absolute, links followed; empty when not known
  std::optional<std::uint64_t> bytes;    ///< of the file when it was read

  friend bool operator==(const KeptRecording&, const KeptRecording&) = default;
};

/// Takes over how many entries each audio has. A recording that was said to
/// have another number is another one: nothing else said of it is believed.
void countEntries(std::span<KeptRecording> recordings, std::span<const std::uint64_t> of_audio);

}  // namespace audiomatch
