#include "tool/keeping/catalogue.h"

#include <algorithm>
#include <unordered_map>

#include "tool/keeping/temporary_file.h"

namespace audiomatch {
namespace {

using Numbers = std::unordered_map<std::string, std::size_t>;

constexpr std::size_t kSeveral = SIZE_MAX;

/// The number of each name's recording, kSeveral for names that occur again.
Numbers numbersByName(const std::vector<KeptRecording>& recordings) {
  Numbers numbers;
  for (std::size_t i = 0; i < recordings.size(); ++i) {
    const auto [place, first] = numbers.try_emplace(recordings[i].name, i);
    if (!first) place->second = kSeveral;
  }
  return numbers;
}

}  // namespace

Catalogue::Catalogue(const std::vector<std::string>& names,
                     const std::vector<KeptRecording>& recorded) {
  for (const std::string& name : names) {
    if (!recordings_.empty() && recordings_.back().name == name) {
      ++recordings_.back().parts;
    } else {
      recordings_.emplace_back().name = name;
    }
  }
  const Numbers theirs = numbersByName(recorded);
  for (const auto& [name, number] : numbersByName(recordings_)) {
    const auto found = theirs.find(name);
    if (number == kSeveral || found == theirs.end() || found->second == kSeveral) continue;
    if (recorded[found->second].parts == recordings_[number].parts) {
      recordings_[number] = recorded[found->second];
    }
  }
  first_audio_.push_back(0);
  for (const KeptRecording& recording : recordings_) {
    first_audio_.push_back(first_audio_.back() + recording.parts);
  }
}

Catalogue::Place Catalogue::placeOf(std::size_t audio) const {
  const auto next = std::ranges::upper_bound(first_audio_, audio);
  const auto recording = static_cast<std::size_t>(next - first_audio_.begin()) - 1;
  return {recording, audio - first_audio_[recording]};
}

void Catalogue::countEntries(std::span<const std::uint64_t> of_audio) {
  audiomatch::countEntries(recordings_, of_audio);
}

Catalogue loadCatalogue(const std::filesystem::path& database,
                        const std::vector<std::string>& names) {
  return Catalogue(names, readCatalogueFile(followLinks(database)).recordings);
}

}  // namespace audiomatch
