#pragma once

#include <memory>
#include <vector>

#include "tool/recognition/references.h"

namespace audiomatch {

/// Where there are none.
class NoReferences : public References {
 public:
  FoundHits find(const std::vector<audio::AudioFeature>& features) const override {
    return {.hits = {}, .ends = std::vector<std::size_t>(features.size()), .names = names_};
  }
  std::shared_ptr<const ReferenceNames> names() const override { return names_; }

 private:
  std::shared_ptr<const ReferenceNames> names_ = std::make_shared<const ReferenceNames>();
};

}  // namespace audiomatch
