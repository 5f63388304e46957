#include "tool/store/embedded_references.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "base/little_endian.h"
#include "match/database/packed_entry.h"
#include "tool/base/errors.h"
#include "tool/store/entry_groups.h"
#include "tool/store/hit_reader.h"
#include "tool/store/packed_bucket.h"

namespace audiomatch {
namespace {

// Buckets that are under way while one is read: more would push each other out of the cache.
constexpr std::size_t kFetchedAhead = 8;

/// What is kept of an audio: what its reference is told from others by, how many entries the
/// audio has, and the reference's name; nothing for one that was removed.
struct AudioRecord {
  static constexpr std::size_t kDigestBytes = 16;
  static constexpr std::size_t kHead = kDigestBytes + sizeof(std::uint64_t);

  std::string digest;
  std::uint64_t entries = 0;
  std::string name;

  static AudioRecord of(std::string_view bytes) {
    if (bytes.size() < kHead) return {};
    return {std::string(bytes.substr(0, kDigestBytes)),
            audio::loadLittleEndian<std::uint64_t>(bytes.data() + kDigestBytes),
            std::string(bytes.substr(kHead))};
  }

  std::string bytes() const {
    char count[sizeof entries];
    audio::storeLittleEndian(entries, count);
    return digest + std::string(count, sizeof count) + name;
  }
};

/// The names of all audios, with the removed ones' left empty.
std::vector<std::string> listOf(const ReferenceNames& names) {
  std::vector<std::string> list(names.audioCount());
  for (std::size_t i = 0; i < list.size(); ++i) list[i] = names.name(static_cast<std::int32_t>(i));
  return list;
}

/// A bucket without the entries of the audios from `begin` up to `end`.
std::string without(std::string_view bucket, std::uint32_t begin, std::uint32_t end) {
  std::vector<std::uint64_t> entries;
  appendUnpacked(entries, bucket);
  std::erase_if(entries, [&](std::uint64_t entry) {
    const std::uint32_t audio = audio::entryAudioIndex(entry);
    return audio >= begin && audio < end;
  });
  std::string rest;
  appendPacked(rest, entries);
  return rest;
}

/// Asks for what is about to be read.
void fetchSoon(std::string_view bucket) noexcept {
  constexpr std::size_t kLine = 64;
  for (std::size_t at = 0; at < bucket.size(); at += kLine) __builtin_prefetch(bucket.data() + at);
}

}  // namespace

EmbeddedReferences::EmbeddedReferences(const std::filesystem::path& file)
    : file_(file, LmdbFile::Durability::kDisk) {
  LmdbTransaction opening(file_, LmdbTransaction::Kind::kWriting);
  entries_ = opening.table("entries");
  audios_ = opening.table("audios");
  opening.commit();
  loadNames();
}

void EmbeddedReferences::loadNames() {
  std::vector<std::string> names;
  std::uint64_t entries = 0;
  const LmdbTransaction look(file_, LmdbTransaction::Kind::kReading);
  look.forEach(audios_, {}, [&](std::string_view key, std::string_view value) {
    // They were given one number after another.
    if (key.size() != sizeof(std::uint32_t) || numberOfKey(key) != names.size()) {
      throw FileError(file_.path(), "damaged; put a copy in its place, or remove it");
    }
    AudioRecord record = AudioRecord::of(value);
    entries += record.entries;
    names.push_back(std::move(record.name));
    return true;
  });
  publish(std::make_shared<const ReferenceNames>(std::move(names), entries));
}

void EmbeddedReferences::publish(std::shared_ptr<const ReferenceNames> names) noexcept {
  const std::lock_guard lock(mutex_);
  names_.swap(names);
}

std::shared_ptr<const ReferenceNames> EmbeddedReferences::names() const {
  const std::lock_guard lock(mutex_);
  return names_;
}

FoundHits EmbeddedReferences::lookUp(const std::vector<audio::AudioFeature>& features,
                                     std::size_t most) const {
  const std::shared_ptr<const ReferenceNames> names = this->names();
  const LmdbTransaction look(file_, LmdbTransaction::Kind::kReading);
  std::vector<std::string_view> buckets;
  buckets.reserve(features.size());
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < features.size(); ++i) {
    const bool is_again = i > 0 && features[i].hashKey == features[i - 1].hashKey;
    buckets.push_back(is_again ? buckets.back()
                               : look.get(entries_, keyOf(features[i].hashKey)).value_or(""));
    bytes += buckets.back().size();
  }
  HitReader reader(names, bytes, most);
  // Buckets lie anywhere in the file: each is asked for some before it is read.
  const std::size_t ahead = std::min(kFetchedAhead, buckets.size());
  for (std::size_t i = 0; i < ahead; ++i) fetchSoon(buckets[i]);
  for (std::size_t i = 0; i < features.size(); ++i) {
    if (i + ahead < buckets.size()) fetchSoon(buckets[i + ahead]);
    reader.take(features[i], buckets[i]);
  }
  return reader.finish();
}

/// What is under way, with the names as they will be.
struct EmbeddedReferences::Addition {
  LmdbTransaction change;
  std::vector<std::string> names;
  std::uint64_t entry_count;
  std::unordered_map<std::string, std::uint32_t> audio_of{};  // the last of each name
  EntryGroups entries{};
};

std::vector<Adding> EmbeddedReferences::add(std::span<const NewReference> references,
                                            const Watcher& watcher) {
  const std::lock_guard only(changing_);
  const auto before = names();
  Addition addition{
      {file_, LmdbTransaction::Kind::kWriting}, listOf(*before), before->entryCount()};
  for (std::uint32_t audio = 0; audio < addition.names.size(); ++audio) {
    addition.audio_of[addition.names[audio]] = audio;
  }
  std::vector<Adding> added;
  for (const NewReference& reference : references) added.push_back(addOne(addition, reference));
  LmdbTransaction& change = addition.change;
  addition.entries.forEach(
      [&](std::uint32_t key, std::span<const std::uint64_t> group) {
        const std::string place = keyOf(key);
        change.put(entries_, place, withEntries(change.get(entries_, place).value_or(""), group));
      },
      watcher);
  // Before the change, as nothing may fail after it: the next one goes by the names.
  auto after =
      std::make_shared<const ReferenceNames>(std::move(addition.names), addition.entry_count);
  change.commit();
  publish(std::move(after));
  return added;
}

/// Takes up the audios of a reference, unless there is one of its name.
Adding EmbeddedReferences::addOne(Addition& addition, const NewReference& reference) const {
  const std::string digest = digestOf(reference);
  const auto present = addition.audio_of.find(reference.name);
  if (present != addition.audio_of.end()) {
    const auto record = addition.change.get(audios_, keyOf(present->second));
    return AudioRecord::of(record.value_or("")).digest == digest ? Adding::kPresent
                                                                 : Adding::kConflict;
  }
  for (const std::vector<audio::AudioFeature>& part : reference.parts) {
    const auto audio = static_cast<std::uint32_t>(addition.names.size());
    addition.change.put(audios_, keyOf(audio),
                        AudioRecord{digest, part.size(), reference.name}.bytes());
    addition.entries.add(audio, part);
    addition.entry_count += part.size();
    addition.names.push_back(reference.name);
    addition.audio_of[reference.name] = audio;
  }
  return Adding::kAdded;
}

bool EmbeddedReferences::remove(const std::string& name) {
  const std::lock_guard only(changing_);
  const auto before = this->names();
  std::vector<std::string> names = listOf(*before);
  const auto place = std::ranges::find(names, name);
  if (name.empty() || place == names.end()) return false;
  const auto begin = static_cast<std::uint32_t>(place - names.begin());
  std::uint32_t end = begin;
  LmdbTransaction change(file_, LmdbTransaction::Kind::kWriting);
  for (; end < names.size() && names[end] == name; ++end) {
    names[end].clear();
    // The number stays taken: who looks a recording up now may still name it.
    change.put(audios_, keyOf(end), {});
  }
  std::uint64_t removed = 0;
  std::vector<std::pair<std::string, std::string>> changed;
  change.forEach(entries_, {}, [&](std::string_view key, std::string_view bucket) {
    std::string rest = without(bucket, begin, end);
    if (rest.size() == bucket.size()) return true;
    removed += (bucket.size() - rest.size()) / kPackedBytes;
    changed.emplace_back(key, std::move(rest));
    return true;
  });
  for (const auto& [key, rest] : changed) {
    if (rest.empty()) {
      change.erase(entries_, key);
    } else {
      change.put(entries_, key, rest);
    }
  }
  auto after =
      std::make_shared<const ReferenceNames>(std::move(names), before->entryCount() - removed);
  change.commit();
  publish(std::move(after));
  return true;
}

}  // namespace audiomatch
