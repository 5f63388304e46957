#include "feature_file.h"

#include <fstream>
#include <utility>

#include "tool/keeping/atomic_file.h"

namespace bench {

std::optional<std::vector<FeatureBlock>> readBlocks(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) return {};
  const auto read = [&in](void* bytes, std::size_t size) {
    in.read(static_cast<char*>(bytes), static_cast<std::streamsize>(size));
  };
  std::vector<FeatureBlock> blocks;
  std::uint64_t count = 0;
  FeatureBlock block{};
  while (read(&block.numbers, sizeof block.numbers), in) {
    read(&count, sizeof count);
    block.features.resize(in ? count : 0);
    read(block.features.data(), block.features.size() * sizeof(audio::AudioFeature));
    blocks.push_back(std::exchange(block, {}));
  }
  return blocks;
}

void writeBlocks(const std::filesystem::path& file, const std::vector<FeatureBlock>& blocks) {
  std::filesystem::create_directories(file.parent_path());
  audiomatch::AtomicFile out(file);
  for (const FeatureBlock& block : blocks) {
    const std::uint64_t count = block.features.size();
    out.write(block.numbers, sizeof block.numbers);
    out.write(&count, sizeof count);
    out.write(block.features.data(), count * sizeof(audio::AudioFeature));
  }
  out.complete();
  out.commit();
}

}  // namespace bench
