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
  for (; audio_count_ < names.size(); ++audio_count_) {
    const std::string& name = names[audio_count_];
    if (name.empty()) {
      background_.push_back(audio_count_);
    } else if (audio_count_ > 0 && names[audio_count_ - 1] == name) {
      ++recordings_.back().parts;
    } else {
      recordings_.emplace_back().name = name;
      first_audio_.push_back(audio_count_);
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
}

std::vector<std::uint32_t> Catalogue::newIndices(
    const std::function<bool(const KeptRecording&)>& is_taken, std::uint32_t& next) const {
  std::vector<std::uint32_t> index_of(audio_count_, kNoIndex);
  for (std::size_t i = 0; i < recordings_.size(); ++i) {
    if (!is_taken(recordings_[i])) continue;
    const auto parts = std::span(index_of).subspan(first_audio_[i], recordings_[i].parts);
    for (std::uint32_t& index : parts) index = next++;
  }
  return index_of;
}

void Catalogue::countEntries(std::span<const std::uint64_t> of_audio) {
  std::vector<std::uint64_t> of_recordings;
  for (std::size_t i = 0; i < recordings_.size(); ++i) {
    const auto parts = of_audio.subspan(first_audio_[i], recordings_[i].parts);
    of_recordings.insert(of_recordings.end(), parts.begin(), parts.end());
  }
  audiomatch::countEntries(recordings_, of_recordings);
  background_entries_ = 0;
  for (const std::size_t audio : background_) background_entries_ += of_audio[audio];
}

Catalogue loadCatalogue(const std::filesystem::path& database,
                        const std::vector<std::string>& names) {
  return Catalogue(names, readCatalogueFile(followLinks(database)).recordings);
}

}  // namespace audiomatch
