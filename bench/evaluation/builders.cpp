#include "builders.h"

#include <charconv>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "tool/keeping/entry_choice.h"
#include "tool/keeping/entry_selection.h"

namespace bench {
namespace {

using audiomatch::RatedFeature;
using Entries = std::vector<audio::AudioFeature>;

/// The number behind a prefix; nothing where there is neither.
std::optional<std::size_t> numberBehind(std::string_view prefix, std::string_view name) {
  if (!name.starts_with(prefix)) return {};
  std::size_t number = 0;
  const auto [stop, error] =
      std::from_chars(name.data() + prefix.size(), name.data() + name.size(), number);
  if (error != std::errc() || stop != name.data() + name.size() || number == 0) return {};
  return number;
}

Entries atRandom(const std::vector<RatedFeature>& rated, std::size_t most) {
  Entries entries;
  entries.reserve(rated.size());
  for (const RatedFeature& each : rated) entries.push_back(each.feature);
  audiomatch::selectEntries(entries, most);
  return entries;
}

}  // namespace

std::vector<audio::DatabaseAudio> build(const std::string& name,
                                        const std::vector<Reference>& references,
                                        std::span<ReferenceFeatures> features) {
  const auto room = numberBehind("chosen-", name);
  const auto most = name == "all" ? audiomatch::kEveryEntry : numberBehind("random-", name);
  if (!room && !most) throw std::invalid_argument(name + " is no builder");
  std::vector<audio::DatabaseAudio> audios;
  for (std::size_t i = 0; i < references.size(); ++i) {
    for (auto& part : features[i].parts) {
      const std::vector<RatedFeature> rated = std::exchange(part, {});
      audios.push_back({references[i].name,
                        room ? audiomatch::chooseEntries(rated, *room) : atRandom(rated, *most)});
    }
  }
  return audios;
}

}  // namespace bench
