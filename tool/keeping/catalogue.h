#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "tool/keeping/catalogue_file.h"

namespace audiomatch {

/// Stands for an audio that isn't taken over into a new database.
inline constexpr std::uint32_t kNoIndex = UINT32_MAX;

/// The recordings of a database in the order of their audios: consecutive
/// audios of one name are the parts of one recording. Those without a name are
/// background, and no recordings.
class Catalogue {
 public:
  /// @param names     of the audios, by index
  /// @param recorded  what a catalogue's file says; believed of a recording
  ///                  whose name occurs once on either side, with as many parts
  Catalogue(const std::vector<std::string>& names, const std::vector<KeptRecording>& recorded);

  const std::vector<KeptRecording>& recordings() const noexcept { return recordings_; }
  /// The index of a recording's first audio.
  std::size_t firstAudio(std::size_t recording) const { return first_audio_[recording]; }
  /// Audios of the recordings.
  std::size_t audioCount() const noexcept { return audio_count_ - background_.size(); }
  /// Indices of the audios of the background.
  const std::vector<std::size_t>& background() const noexcept { return background_; }

  /// The new index of each audio when the recordings that are taken get the next ones in turn;
  /// kNoIndex for others, and for the background.
  std::vector<std::uint32_t> newIndices(const std::function<bool(const KeptRecording&)>& is_taken,
                                        std::uint32_t& next) const;

  /// Takes over how many entries each audio has, the background's too (countEntries).
  void countEntries(std::span<const std::uint64_t> of_audio);
  /// Entries of the background, after countEntries.
  std::uint64_t backgroundEntries() const noexcept { return background_entries_; }

 private:
  std::vector<KeptRecording> recordings_;
  std::vector<std::size_t> first_audio_;  // by recording
  std::vector<std::size_t> background_;
  std::size_t audio_count_ = 0;
  std::uint64_t background_entries_ = 0;
};

/// The catalogue of a database, of which only the names need be known. The
/// seconds and files of recordings that DB.catalogue.json tells nothing of, or
/// nothing that agrees with the names, are left open. Throws std::bad_alloc.
///
/// @param names  of the database's audios, by index
Catalogue loadCatalogue(const std::filesystem::path& database,
                        const std::vector<std::string>& names);

}  // namespace audiomatch
