#include "tool/keeping/known_recordings.h"

#include "tool/keeping/recording_names.h"

namespace audiomatch {
namespace {

const KeptRecording* find(const std::unordered_map<std::string, const KeptRecording*>& recordings,
                          const std::string& key) {
  const auto found = recordings.find(key);
  return found == recordings.end() ? nullptr : found->second;
}

}  // namespace

KnownRecordings::KnownRecordings(const Catalogue& catalogue) {
  for (const KeptRecording& recording : catalogue.recordings()) {
    names_.insert(recording.name);
    if (recording.file.empty()) {
      without_file_[recording.name] = &recording;
    } else {
      by_file_[recording.file.native()] = &recording;
    }
  }
}

const KeptRecording* KnownRecordings::ofFile(const std::filesystem::path& place,
                                             const std::filesystem::path& path) const {
  if (const KeptRecording* known = find(by_file_, place.native())) return known;
  if (without_file_.empty()) return nullptr;
  for (const std::string& name : namesOfPath(path)) {
    if (const KeptRecording* known = ofUnknownFile(name)) return known;
  }
  return nullptr;
}

const KeptRecording* KnownRecordings::ofUnknownFile(const std::string& name) const {
  return find(without_file_, name);
}

}  // namespace audiomatch
