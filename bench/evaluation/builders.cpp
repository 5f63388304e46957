#include "builders.h"

#include <charconv>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

#include "tool/keeping/entry_selection.h"

namespace bench {
namespace {

/// The number behind a prefix; nothing where there is neither.
std::optional<std::size_t> numberBehind(std::string_view prefix, std::string_view name) {
  if (!name.starts_with(prefix)) return {};
  std::size_t number = 0;
  const auto [stop, error] =
      std::from_chars(name.data() + prefix.size(), name.data() + name.size(), number);
  if (error != std::errc() || stop != name.data() + name.size() || number == 0) return {};
  return number;
}

std::size_t mostEntriesOf(const std::string& builder) {
  if (builder == "all") return audiomatch::kEveryEntry;
  if (const auto most = numberBehind("random-", builder)) return *most;
  throw std::invalid_argument(builder + " is no builder");
}

}  // namespace

std::vector<audio::DatabaseAudio> build(const std::string& name,
                                        const std::vector<Reference>& references,
                                        std::span<ReferenceFeatures> features) {
  const std::size_t most = mostEntriesOf(name);
  std::vector<audio::DatabaseAudio> audios;
  for (std::size_t i = 0; i < references.size(); ++i) {
    for (auto& part : features[i].parts) {
      audiomatch::selectEntries(part, most);
      audios.push_back({references[i].name, std::exchange(part, {})});
    }
  }
  return audios;
}

}  // namespace bench
