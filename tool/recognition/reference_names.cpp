#include "tool/recognition/reference_names.h"

#include <algorithm>
#include <utility>

#include "match/database/database_format.h"

namespace audiomatch {

ReferenceNames::ReferenceNames(std::vector<std::string> names, std::uint64_t entries)
    : names_(std::move(names)), entry_count_(entries) {
  recordings_.reserve(names_.size());
  for (std::size_t audio = 0; audio < names_.size(); ++audio) {
    const bool goes_on = audio > 0 && names_[audio] == names_[audio - 1];
    const auto own = names_[audio].empty() ? -1 : static_cast<std::int32_t>(audio);
    recordings_.push_back(goes_on ? recordings_.back() : own);
    are_all_there_ = are_all_there_ && recordings_.back() >= 0;
    if (recordings_.back() == static_cast<std::int32_t>(audio)) ++recording_count_;
  }
}

bool ReferenceNames::has(std::int32_t audioIndex) const noexcept {
  return recording(audioIndex) >= 0;
}

bool ReferenceNames::has(const std::string& name) const noexcept {
  return !name.empty() && std::ranges::find(names_, name) != names_.end();
}

const std::string& ReferenceNames::name(std::int32_t audioIndex) const noexcept {
  static const std::string none;
  return has(audioIndex) ? names_[static_cast<std::size_t>(audioIndex)] : none;
}

std::int32_t ReferenceNames::startFrame(std::int32_t audioIndex) const noexcept {
  if (!has(audioIndex)) return 0;
  return (audioIndex - recording(audioIndex)) * static_cast<std::int32_t>(audio::kTimeSlots);
}

}  // namespace audiomatch
