#include "collection.h"

#include <numeric>
#include <stdexcept>
#include <utility>

#include "builders.h"
#include "tool/base/parallel.h"
#include "tool/keeping/atomic_file.h"
#include "tool/output/progress.h"

namespace bench {

Collection collect(const std::vector<Reference>& references, const std::string& builder,
                   const std::filesystem::path& file, unsigned jobs) {
  std::vector<ReferenceFeatures> features(references.size());
  {
    audiomatch::Progress progress(true, references.size());
    audiomatch::forEachParallel(
        references.size(), jobs,
        [&](std::size_t i) { features[i] = featuresOfReference(references[i]); },
        [&] { progress.step(); });
  }
  Collection collection{builder, {}, 0.0, 0, nullptr};
  for (const ReferenceFeatures& each : features) collection.hours += each.seconds / 3600.0;
  {
    const std::vector<audio::DatabaseAudio> audios = build(builder, references, features);
    for (const audio::DatabaseAudio& audio : audios) collection.names.push_back(audio.name);
    audiomatch::AtomicFile out(file);
    audio::writeDatabase(audios, out);
    out.complete();
    out.commit();
    collection.bytes = out.size();
  }
  const auto database = std::make_shared<audio::AudioDatabase>();
  const bool is_loaded = database->load(file.c_str());
  std::filesystem::remove(file);
  if (!is_loaded) throw std::runtime_error(file.string() + " can't be loaded");
  collection.database = database;
  return collection;
}

}  // namespace bench
