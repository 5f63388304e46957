#include "tool/recognition/reference_names.h"

#include <utility>

#include "match/database/database_format.h"

namespace audiomatch {

ReferenceNames::ReferenceNames(std::vector<std::string> names) : names_(std::move(names)) {
  recordings_.reserve(names_.size());
  for (std::size_t audio = 0; audio < names_.size(); ++audio) {
    const bool goes_on = audio > 0 && names_[audio] == names_[audio - 1];
    recordings_.push_back(goes_on ? recordings_.back() : static_cast<std::int32_t>(audio));
  }
}

bool ReferenceNames::has(std::int32_t audioIndex) const noexcept {
  return audioIndex >= 0 && static_cast<std::size_t>(audioIndex) < names_.size() &&
         !names_[static_cast<std::size_t>(audioIndex)].empty();
}

const std::string& ReferenceNames::name(std::int32_t audioIndex) const noexcept {
  static const std::string none;
  return has(audioIndex) ? names_[static_cast<std::size_t>(audioIndex)] : none;
}

std::int32_t ReferenceNames::recording(std::int32_t audioIndex) const noexcept {
  return has(audioIndex) ? recordings_[static_cast<std::size_t>(audioIndex)] : -1;
}

std::int32_t ReferenceNames::startFrame(std::int32_t audioIndex) const noexcept {
  if (!has(audioIndex)) return 0;
  return (audioIndex - recording(audioIndex)) * static_cast<std::int32_t>(audio::kTimeSlots);
}

}  // namespace audiomatch
