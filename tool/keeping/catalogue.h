#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "tool/keeping/catalogue_file.h"

namespace audiomatch {

/// The recordings of a database in the order of their audios: consecutive
/// audios of one name are the parts of one recording.
class Catalogue {
 public:
  /// @param names     of the audios, by index
  /// @param recorded  what a catalogue's file says; believed of a recording
  ///                  whose name occurs once on either side, with as many parts
  Catalogue(const std::vector<std::string>& names, const std::vector<KeptRecording>& recorded);

  const std::vector<KeptRecording>& recordings() const noexcept { return recordings_; }
  std::size_t audioCount() const noexcept { return first_audio_.back(); }
  /// The index of a recording's first audio.
  std::size_t firstAudio(std::size_t recording) const { return first_audio_[recording]; }

  /// Where an audio belongs.
  struct Place {
    std::size_t recording;  ///< its number in `recordings`
    std::size_t part;       ///< from 0 on: it starts 16,384 frames × part into the recording
  };
  /// The place of an audio, whose index is below `audioCount`.
  Place placeOf(std::size_t audio) const;

  /// Takes over how many entries each audio has (countEntries).
  void countEntries(std::span<const std::uint64_t> of_audio);

 private:
  std::vector<KeptRecording> recordings_;
  std::vector<std::size_t> first_audio_;  // one more than there are recordings
};

/// The catalogue of a database, of which only the names need be known. The
/// seconds and files of recordings that DB.catalogue.json tells nothing of, or
/// nothing that agrees with the names, are left open. Throws std::bad_alloc.
///
/// @param names  of the database's audios, by index
Catalogue loadCatalogue(const std::filesystem::path& database,
                        const std::vector<std::string>& names);

}  // namespace audiomatch
