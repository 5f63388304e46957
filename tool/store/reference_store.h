#pragma once

#include <functional>
#include <span>
#include <string>
#include <vector>

#include "feature/audio_feature.h"
#include "tool/recognition/references.h"

namespace audiomatch {

/// A reference to be added: what a ReferenceAnalyser makes, and a name.
struct NewReference {
  std::string name;
  /// Entries of each of its audios, times below 16,384.
  std::vector<std::vector<audio::AudioFeature>> parts;
};

/// What became of one.
enum class Adding {
  kAdded,
  kPresent,   ///< the same was there already: nothing has changed
  kConflict,  ///< there is another of that name
  kNoStore,   ///< there is nowhere to add it to
};

/// References that come and go. Any thread.
class ReferenceStore : public References {
 public:
  /// Told how far a long addition is, 0 to 1; may throw to end it.
  using Watcher = std::function<void(double share)>;

  /// Adds references, whose names differ; when it returns they are kept for good, and found. One
  /// that is interrupted in the middle is never found in part, and can be repeated.
  /// Throws FileError when the store fails, std::bad_alloc, and what `watcher` throws.
  ///
  /// @return what became of each
  virtual std::vector<Adding> add(std::span<const NewReference> references,
                                  const Watcher& watcher) = 0;

  /// Removes a reference; when it returns it isn't found any more. False when there is
  /// none of that name. Throws as `add` does.
  virtual bool remove(const std::string& name) = 0;
};

}  // namespace audiomatch
