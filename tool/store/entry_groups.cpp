#include "tool/store/entry_groups.h"

#include <sodium.h>

#include <algorithm>
#include <string>

#include "match/database/packed_entry.h"

namespace audiomatch {
namespace {

// Items between two words to whoever watches.
constexpr std::size_t kWordEvery = 1 << 14;

}  // namespace

void EntryGroups::add(std::uint32_t audio, std::span<const audio::AudioFeature> entries) {
  items_.reserve(items_.size() + entries.size());
  for (const audio::AudioFeature& entry : entries) {
    items_.push_back({entry.hashKey, audio::packEntry(audio, entry.startTime)});
  }
}

void EntryGroups::forEach(
    const std::function<void(std::uint32_t, std::span<const std::uint64_t>)>& visit,
    const ReferenceStore::Watcher& watcher) {
  std::ranges::sort(items_, [](const Item& a, const Item& b) {
    return a.key != b.key ? a.key < b.key : a.entry < b.entry;
  });
  items_.erase(std::unique(items_.begin(), items_.end()), items_.end());
  std::vector<std::uint64_t> group;
  std::size_t word = 0;
  for (std::size_t i = 0; i < items_.size();) {
    const std::uint32_t key = items_[i].key;
    group.clear();
    for (; i < items_.size() && items_[i].key == key; ++i) group.push_back(items_[i].entry);
    visit(key, group);
    if (watcher && i >= word) {
      watcher(static_cast<double>(i) / static_cast<double>(items_.size()));
      word = i + kWordEvery;
    }
  }
  items_.clear();
}

std::string digestOf(const NewReference& reference) {
  crypto_generichash_state state;
  constexpr std::size_t kBytes = crypto_generichash_BYTES_MIN;
  crypto_generichash_init(&state, nullptr, 0, kBytes);
  const auto take = [&state](std::uint64_t number) {
    unsigned char bytes[sizeof number];
    for (unsigned char& byte : bytes) {
      byte = static_cast<unsigned char>(number);
      number >>= 8;
    }
    crypto_generichash_update(&state, bytes, sizeof bytes);
  };
  for (std::vector<audio::AudioFeature> part : reference.parts) {
    audio::sortUnique(part);
    take(part.size());
    for (const audio::AudioFeature& entry : part) {
      take(std::uint64_t{entry.hashKey} << 32 | entry.startTime);
    }
  }
  std::string digest(kBytes, '\0');
  crypto_generichash_final(&state, reinterpret_cast<unsigned char*>(digest.data()), kBytes);
  return digest;
}

}  // namespace audiomatch
