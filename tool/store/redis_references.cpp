#include "tool/store/redis_references.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>
#include <utility>

#include "feature/land_mark.h"
#include "match/database/packed_entry.h"
#include "tool/output/display_text.h"
#include "tool/store/entry_groups.h"
#include "tool/store/hit_reader.h"
#include "tool/store/packed_bucket.h"
#include "tool/store/redis_commands.h"
#include "tool/store/redis_failure.h"
#include "tool/store/redis_scripts.h"
#include "tool/store/store_error.h"

namespace audiomatch {
namespace {

// They have one tag, so one node has them all, and a script may use them together.
constexpr const char* kNames = "{audiomatch}:names";      // by name: a record
constexpr const char* kAdding = "{audiomatch}:adding";    // the same, of what isn't whole yet
constexpr const char* kRemoved = "{audiomatch}:removed";  // records whose entries are to go
constexpr const char* kNext = "{audiomatch}:next";        // the next audio's number
constexpr const char* kVersion = "{audiomatch}:version";  // another one for each change of names

// Numbers of audios, which aren't given twice: a list of them takes half a gigabyte.
constexpr std::uint64_t kMostAudios = 1 << 24;

// Commands sent together: some megabytes.
constexpr std::size_t kAtOnce = 8192;
// Buckets swept at a call.
constexpr std::uint32_t kSweptAtOnce = 1 << 15;
// Ranges of audios that a sweep removes; each of its commands names them.
constexpr std::size_t kMostRanges = 64;
// Names, and removed records, that are asked for at once: far less than a reply may have.
constexpr const char* kNamesAtOnce = "2048";
// Times that names are asked for again, or a question, because they changed meanwhile.
constexpr int kMostAttempts = 5;

std::string bucketOf(std::uint32_t key) { return fmt::format("audiomatch:r:{}", key); }

/// What is kept of a reference: "FIRST:PARTS:ENTRIES:DIGEST".
struct Record {
  std::uint32_t first = 0;
  std::uint32_t parts = 0;
  std::uint64_t entries = 0;
};

std::optional<Record> parseRecord(std::string_view text) {
  Record record;
  const auto number = [&text](auto& value) {
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || stop == text.data() + text.size() || *stop != ':') return false;
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()) + 1);
    return true;
  };
  if (!number(record.first) || !number(record.parts) || !number(record.entries)) return {};
  if (record.parts == 0 || std::uint64_t{record.first} + record.parts > kMostAudios) return {};
  return record;
}

/// A reference's record without the first number.
std::string tailOf(const NewReference& reference) {
  std::size_t entries = 0;
  for (const auto& part : reference.parts) entries += part.size();
  std::string digest;
  for (const char byte : digestOf(reference)) {
    digest += fmt::format("{:02x}", static_cast<unsigned char>(byte));
  }
  return fmt::format("{}:{}:{}", reference.parts.size(), entries, digest);
}

}  // namespace

/// A reply that says what was asked for. Throws StoreError for another.
const RedisReply& RedisReferences::require(const RedisReply& reply) const {
  return requireRedisReply(reply, cluster_.url());
}

RedisReferences::Known RedisReferences::latest() const {
  const std::lock_guard lock(mutex_);
  return known_;
}

void RedisReferences::untilSteady(const std::function<bool()>& ask) const {
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    if (ask()) return;
  }
  throw StoreError(cluster_.url(), "its references change too fast to be looked into; try again");
}

/// Learns what names there are now. False when they can't be had before the end.
bool RedisReferences::load(RedisEnd end) const {
  Loading loading = Loading::kChanging;
  untilSteady([&] { return (loading = tryToLoad(end)) != Loading::kChanging; });
  return loading == Loading::kLoaded;
}

/// Asks for the names in pieces. They are at least as new as the version that comes before
/// the first; a node that takes over has another order, so that some may be missing.
RedisReferences::Loading RedisReferences::tryToLoad(RedisEnd end) const {
  Known loaded;
  NamesByAudio names;
  std::string cursor = "0";
  std::int64_t count = 0;
  do {
    const RedisCommand commands[] = {redisCommand({"GET", kVersion}),
                                     redisCommand({"HSCAN", kNames, cursor, "COUNT", kNamesAtOnce}),
                                     redisCommand({"HLEN", kNames})};
    const std::vector<RedisReply> replies = cluster_.run(commands, end);
    for (const RedisReply& reply : replies) {
      if (require(reply).isUnavailable()) return Loading::kAway;
    }
    if (loaded.version.value_or(replies[0].text) != replies[0].text) return Loading::kChanging;
    loaded.version = replies[0].text;
    takeNames(replies[1].list.at(1).list, names);
    cursor = replies[1].list.at(0).text;
    count = replies[2].number;
  } while (cursor != "0");
  if (static_cast<std::int64_t>(names.recordings) != count) return Loading::kChanging;
  loaded.names = std::make_shared<const ReferenceNames>(std::move(names.list), names.entries);
  const std::lock_guard lock(mutex_);
  known_ = std::move(loaded);
  return Loading::kLoaded;
}

/// Takes a piece of the names, each of which may come twice.
void RedisReferences::takeNames(std::span<const RedisReply> piece, NamesByAudio& names) const {
  for (std::size_t i = 0; i + 1 < piece.size(); i += 2) {
    const std::string& name = piece[i].text;
    const std::optional<Record> record = parseRecord(piece[i + 1].text);
    if (!record) {
      throw StoreError(cluster_.url(), fmt::format("{} holds what is no record of a reference, {}; "
                                                   "remove it (HDEL), or use another cluster",
                                                   kNames, printable(name)));
    }
    const std::size_t past = std::size_t{record->first} + record->parts;
    if (names.list.size() < past) names.list.resize(past);
    if (!name.empty() && names.list[record->first] == name) continue;
    for (std::size_t audio = record->first; audio < past; ++audio) names.list[audio] = name;
    ++names.recordings;
    names.entries += record->entries;
  }
}

std::shared_ptr<const ReferenceNames> RedisReferences::names() const {
  const RedisCommand ask[] = {redisCommand({"GET", kVersion})};
  if (require(cluster_.run(ask)[0]).text != latest().version) load(RedisEnd::kWait);
  return latest().names;
}

RedisReferences::Query::Query(const RedisReferences& references,
                              const std::vector<audio::AudioFeature>& features, RedisEnd end,
                              std::vector<RedisCommand>& commands, std::size_t most)
    : references_(references), features_(features), end_(end), most_(most) {
  if (!references.latest().version) references.load(end);
  Known known = references.latest();
  version_ = std::move(known.version);
  names_ = std::move(known.names);
  commands.push_back(redisCommand({"GET", kVersion}));
  for (std::size_t i = 0; i < features.size(); ++i) {
    if (i > 0 && features[i].hashKey == features[i - 1].hashKey) continue;
    commands.push_back(redisCommand({"GET", bucketOf(features[i].hashKey)}));
    ++count_;
  }
}

bool RedisReferences::Query::read(std::span<const RedisReply> replies, FoundHits& found) const {
  bool is_partial = replies[0].isUnavailable();
  if (!is_partial && references_.require(replies[0]).text != version_) {
    if (references_.load(end_)) return false;
    is_partial = true;
  }
  if (!version_) throwRedisAway(references_.cluster_.url(), "nobody tells the references' names");
  std::size_t bytes = 0;
  for (const RedisReply& bucket : replies.subspan(1, count_)) bytes += bucket.text.size();
  HitReader reader(names_, bytes, most_);
  std::size_t next = 0;
  for (std::size_t i = 0; i < features_.size(); ++i) {
    if (i == 0 || features_[i].hashKey != features_[i - 1].hashKey) ++next;
    const RedisReply& bucket = references_.require(replies[next]);
    is_partial = is_partial || bucket.isUnavailable();
    reader.take(features_[i], bucket.text);
  }
  found = reader.finish();
  found.is_partial = is_partial;
  return true;
}

FoundHits RedisReferences::lookUp(const std::vector<audio::AudioFeature>& features,
                                  std::size_t most) const {
  FoundHits found;
  untilSteady([&] {
    std::vector<RedisCommand> commands;
    const Query query(*this, features, end_, commands, most);
    return query.read(cluster_.run(commands, end_), found);
  });
  return found;
}

std::vector<Adding> RedisReferences::add(std::span<const NewReference> references,
                                         const Watcher& watcher) {
  std::vector<RedisCommand> reservations;
  for (const NewReference& reference : references) {
    reservations.push_back(redisScriptCommand(
        reserveScript(), {kNames, kAdding, kNext, kRemoved},
        {reference.name, tailOf(reference), std::to_string(reference.parts.size())}));
  }
  const std::vector<RedisReply> reserved = cluster_.runDurably(reservations);
  std::vector<Adding> added;
  std::vector<RedisCommand> completions;
  std::vector<std::size_t> completed;
  EntryGroups groups;
  for (std::size_t i = 0; i < references.size(); ++i) {
    const std::vector<RedisReply>& reply = require(reserved[i]).list;
    added.push_back(static_cast<Adding>(reply.at(0).number));
    if (added.back() != Adding::kAdded) continue;
    const std::optional<Record> record = parseRecord(reply.at(1).text);
    if (!record) {
      throw StoreError(cluster_.url(), fmt::format("no number is left for a reference, of {}; add "
                                                   "them to an empty cluster",
                                                   kMostAudios));
    }
    for (std::uint32_t part = 0; part < references[i].parts.size(); ++part) {
      groups.add(record->first + part, references[i].parts[part]);
    }
    completions.push_back(redisScriptCommand(completeScript(),
                                             {kNames, kAdding, kVersion, kRemoved},
                                             {references[i].name, reply[1].text}));
    completed.push_back(i);
  }
  write(groups, watcher);
  const std::vector<RedisReply> done = cluster_.runDurably(completions);
  for (std::size_t i = 0; i < done.size(); ++i) {
    if (require(done[i]).number == 0) added[completed[i]] = Adding::kConflict;
  }
  return added;
}

void RedisReferences::write(EntryGroups& groups, const Watcher& watcher) {
  std::vector<RedisCommand> commands;
  const auto send = [&] {
    for (const RedisReply& reply : cluster_.runDurably(commands)) require(reply);
    commands.clear();
  };
  groups.forEach(
      [&](std::uint32_t key, std::span<const std::uint64_t> entries) {
        std::string packed;
        appendPacked(packed, entries);
        commands.push_back(
            redisScriptCommand(insertScript(), {bucketOf(key)}, {std::move(packed)}));
        if (commands.size() == kAtOnce) send();
      },
      watcher);
  send();
}

bool RedisReferences::remove(const std::string& name) {
  const RedisCommand ask[] = {redisCommand({"HGET", kNames, name})};
  const RedisReply kept = cluster_.run(ask)[0];
  if (!require(kept).isString()) return false;
  // With the record: done twice, it doesn't remove what came between.
  const RedisCommand removal[] = {
      redisScriptCommand(removeScript(), {kNames, kRemoved, kVersion}, {name, kept.text})};
  require(cluster_.runDurably(removal)[0]);
  return true;
}

/// Some of the records that are to go with their marks, if there are any.
std::vector<RedisReply> RedisReferences::someRemoved() const {
  std::string cursor = "0";
  for (;;) {
    const RedisCommand ask[] = {redisCommand({"HSCAN", kRemoved, cursor, "COUNT", kNamesAtOnce})};
    RedisReply reply = cluster_.run(ask)[0];
    cursor = require(reply).list.at(0).text;
    std::vector<RedisReply>& piece = reply.list.at(1).list;
    if (!piece.empty() || cursor == "0") return std::move(piece);
  }
}

/// Chooses what the next sweep removes of the records that are to go: as much as a node can look
/// for in each entry, neighbours as one.
void RedisReferences::chooseSwept(std::span<const RedisReply> removed) {
  std::vector<std::pair<std::uint64_t, Removed>> by_audio;
  by_audio.reserve(removed.size() / 2);
  for (std::size_t i = 0; i + 1 < removed.size(); i += 2) {
    const Record record = parseRecord(removed[i].text).value_or(Record{});
    by_audio.emplace_back(record.first, Removed{removed[i].text, removed[i + 1].text});
  }
  std::ranges::sort(by_audio, {}, &std::pair<std::uint64_t, Removed>::first);
  std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges;
  for (auto& [first, swept] : by_audio) {
    const std::uint64_t end = first + parseRecord(swept.record).value_or(Record{}).parts;
    if (!ranges.empty() && ranges.back().second == first) {
      ranges.back().second = end;
    } else if (ranges.size() < kMostRanges) {
      ranges.emplace_back(first, end);
    } else {
      break;
    }
    sweeping_.push_back(std::move(swept));
  }
  swept_audios_.clear();
  for (const auto& [first, end] : ranges) swept_audios_ += fmt::format("{} {} ", first, end);
}

void RedisReferences::sweep() {
  if (sweeping_.empty()) {
    chooseSwept(someRemoved());
    swept_ = 0;
  }
  if (sweeping_.empty()) return;
  std::vector<RedisCommand> commands;
  const std::uint32_t end = std::min(swept_ + kSweptAtOnce, audio::kHashKeys);
  for (std::uint32_t key = swept_; key < end; ++key) {
    commands.push_back(redisScriptCommand(sweepScript(), {bucketOf(key)}, {swept_audios_}));
  }
  for (const RedisReply& reply : cluster_.runDurably(commands)) require(reply);
  swept_ = end;
  if (swept_ < audio::kHashKeys) return;
  std::vector<RedisCommand> done;
  done.reserve(sweeping_.size());
  for (const Removed& swept : sweeping_) {
    done.push_back(redisScriptCommand(sweptScript(), {kRemoved}, {swept.record, swept.mark}));
  }
  for (const RedisReply& reply : cluster_.runDurably(done)) require(reply);
  sweeping_.clear();
}

}  // namespace audiomatch
