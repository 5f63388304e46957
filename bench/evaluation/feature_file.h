#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include "feature/audio_feature.h"

namespace bench {

/// A list of features and numbers that go with it.
struct FeatureBlock {
  std::uint32_t numbers[3];
  std::vector<audio::AudioFeature> features;
};

/// What was kept in a file, for this machine only; nothing when there is none that is whole.
std::optional<std::vector<FeatureBlock>> readBlocks(const std::filesystem::path& file);

/// Keeps blocks in a file, which is there when it is whole. Throws FileError.
void writeBlocks(const std::filesystem::path& file, const std::vector<FeatureBlock>& blocks);

}  // namespace bench
