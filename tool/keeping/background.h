#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "match/scoring/match_ranking.h"
#include "tool/keeping/database_file.h"
#include "tool/keeping/database_merge.h"

namespace audiomatch {

// In a database of few references the best audio has no rival, and whatever is
// heard gets its name: of one reference, every stranger at the highest level. A
// background is audios without a name that are as like any sound as references
// are, by chance. For who asks the engine, an empty name means that nothing is known.

/// Audios that a match examines: beyond them a background would keep out the
/// true one.
inline constexpr std::size_t kMostWithBackground = audio::kMaxCandidates;

/// How many are wanted: a number, or nothing for as many as are usual.
using BackgroundWish = std::optional<std::size_t>;

/// How many audios of background complete a collection of so many audios. Two for each
/// and at least four are usual; whatever is wanted, there aren't more in all than a match
/// examines.
std::size_t backgroundFor(std::size_t audios, BackgroundWish wish) noexcept;

/// ", N audios of background" for the summary of a database; nothing for none.
std::string withBackground(std::size_t audios);

/// The entries of a background, made of those of a database without one.
///
/// Its audios are as long as audios can be, and half as dense as the references
/// are on average. Every stretch of half a second of each reference is in them, at
/// places drawn by lot and with its times reversed: so they have the references' keys,
/// in the clusters that long notes make, and yet no recording in its order. Longer and
/// sparser ones differ less in how much agrees by chance, and so cost fewer levels, than
/// whole references in reverse. The lots depend on nothing but the places.
class BackgroundEntries : public EntrySource {
 public:
  /// @param file    the database
  /// @param audios  its audios, behind which those of the background are numbered
  /// @param count   audios of the background
  /// @param frames  of all its audios together, above 0
  BackgroundEntries(std::unique_ptr<DatabaseFile> file, std::size_t audios, std::size_t count,
                    std::uint64_t frames);

  /// Throws FileError for a database with a fault.
  void appendNext(std::vector<std::uint64_t>& bucket) override;
  std::uint64_t bytes() const noexcept override { return file_->bytes(); }

 private:
  void appendCopies(std::uint64_t entry, std::size_t number,
                    std::vector<std::uint64_t>& bucket) const;

  std::unique_ptr<DatabaseFile> file_;
  std::size_t audios_;
  std::size_t count_;
  std::uint64_t copies_;  ///< of each stretch in an audio of the background, times 2^32
  std::vector<std::uint64_t> entries_;
};

}  // namespace audiomatch
