#include "synthetic_database.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <random>

#include "feature/feature_extractor.h"
#include "match/database/database_format.h"
#include "match/database/database_writer.h"
#include "synthetic_audio.h"

namespace bench {
namespace {

/// Writes to a new file that the destructor closes.
class NewFile : public audio::ByteSink {
 public:
  explicit NewFile(int descriptor) : file_(fdopen(descriptor, "wb")) {}
  ~NewFile() override { std::fclose(file_); }

  void write(const void* bytes, std::size_t size) override {
    if (std::fwrite(bytes, 1, size, file_) != size) std::abort();
    size_ += size;
  }
  std::uint64_t size() const { return size_; }

 private:
  std::FILE* file_;
  std::uint64_t size_ = 0;
};

/// Audios whose keys are those of a few recordings, moved along the bins.
std::vector<audio::DatabaseAudio> syntheticAudios(std::uint32_t count, std::uint32_t entries) {
  std::vector<std::vector<audio::AudioFeature>> sources;
  for (std::uint32_t seed = 100; seed < 108; ++seed) {
    sources.push_back(syntheticFeatures(seed, 60, false));
  }
  std::mt19937 random(7);
  std::vector<audio::DatabaseAudio> audios(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    audios[i].name = "reference " + std::to_string(i);
    const auto& source = sources[i % sources.size()];
    const auto shift = static_cast<std::uint32_t>(random()) % 256u << 12;
    for (std::uint32_t k = 0; k < entries; ++k) {
      const auto& feature = source[random() % source.size()];
      const auto time = static_cast<std::uint32_t>(random()) % audio::kTimeSlots;
      audios[i].entries.push_back({time, (feature.hashKey + shift) % audio::kHashKeys});
    }
    audio::sortUnique(audios[i].entries);
  }
  return audios;
}

}  // namespace

std::vector<audio::AudioFeature> syntheticFeatures(std::uint32_t seed, std::uint32_t seconds,
                                                   bool singlePass) {
  const auto audio = syntheticMusic(seed, seconds, 1, 8000);
  audio::FeatureExtractor extractor;
  if (!extractor.init(singlePass) || !extractor.loadAudio(audio.get()) ||
      !extractor.extractFeatures()) {
    std::abort();
  }
  return extractor.getFeatures();
}

SyntheticDatabase::SyntheticDatabase(std::uint32_t audios, std::uint32_t entriesPerAudio) {
  char path[] = "/tmp/bench_database_XXXXXX";
  NewFile file(mkstemp(path));
  path_ = path;
  audio::writeDatabase(syntheticAudios(audios, entriesPerAudio), file);
  bytes_ = file.size();
}

SyntheticDatabase::~SyntheticDatabase() { unlink(path_.c_str()); }

}  // namespace bench
