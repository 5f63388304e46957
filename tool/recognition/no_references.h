#pragma once

#include <memory>
#include <vector>

#include "tool/recognition/references.h"

namespace audiomatch {

/// Where there are none.
class NoReferences : public References {
 public:
  std::shared_ptr<const ReferenceNames> names() const override { return names_; }

 private:
  FoundHits lookUp(const std::vector<audio::AudioFeature>& features, std::size_t) const override {
    return {.hits = {}, .ends = std::vector<std::size_t>(features.size()), .names = names_};
  }

  std::shared_ptr<const ReferenceNames> names_ = std::make_shared<const ReferenceNames>();
};

}  // namespace audiomatch
