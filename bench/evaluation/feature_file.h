#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "tool/keeping/atomic_file.h"

namespace bench {

/// A list of features, of some kind, and numbers that go with it.
template <typename Feature>
struct FeatureBlock {
  static_assert(std::is_trivially_copyable_v<Feature>);

  std::array<std::uint32_t, 4> numbers;
  std::vector<Feature> features;
};

/// What was kept in a file, for this machine only; nothing when there is none that is whole.
template <typename Feature>
std::optional<std::vector<FeatureBlock<Feature>>> readBlocks(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) return {};
  const auto read = [&in](void* bytes, std::size_t size) {
    in.read(static_cast<char*>(bytes), static_cast<std::streamsize>(size));
  };
  std::vector<FeatureBlock<Feature>> blocks;
  std::uint64_t count = 0;
  FeatureBlock<Feature> block{};
  while (read(block.numbers.data(), sizeof block.numbers), in) {
    read(&count, sizeof count);
    block.features.resize(in ? count : 0);
    read(block.features.data(), block.features.size() * sizeof(Feature));
    blocks.push_back(std::exchange(block, {}));
  }
  return blocks;
}

/// Keeps blocks in a file, which is there when it is whole. Throws FileError.
template <typename Feature>
void writeBlocks(const std::filesystem::path& file,
                 const std::vector<FeatureBlock<Feature>>& blocks) {
  std::filesystem::create_directories(file.parent_path());
  audiomatch::AtomicFile out(file);
  for (const FeatureBlock<Feature>& block : blocks) {
    const std::uint64_t count = block.features.size();
    out.write(block.numbers.data(), sizeof block.numbers);
    out.write(&count, sizeof count);
    out.write(block.features.data(), count * sizeof(Feature));
  }
  out.complete();
  out.commit();
}

}  // namespace bench
