#include "tool/store/channel_journal.h"

#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "base/little_endian.h"
#include "match/database/byte_source.h"
#include "match/database/packed_entry.h"
#include "tool/store/packed_bucket.h"

namespace audiomatch {
namespace {

namespace fs = std::filesystem;
using Clock = LiveChannels::Clock;

constexpr std::string_view kPrefix = "channels-";
constexpr std::string_view kLock = "-lock";

/// Tells one boot of the machine from another.
std::string bootName() {
  audio::FileSource file("/proc/sys/kernel/random/boot_id");
  char name[36];
  return {name, file.isOpen() ? file.read(name, sizeof name) : 0};
}

std::string encode(const ChannelSession& session) {
  const nlohmann::json json = {session.name, session.key, session.periods.update,
                               session.periods.monitor};
  return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<ChannelSession> decodeSession(std::string_view text) {
  const auto json = nlohmann::json::parse(text, nullptr, false);
  if (!json.is_array() || json.size() != 4 || !json[0].is_string() || !json[1].is_string() ||
      !json[2].is_number_unsigned() || !json[3].is_number_unsigned()) {
    return {};
  }
  return ChannelSession{json[0], {json[2], json[3]}, json[1]};
}

/// When it came, then its keys and times, as a bucket of (key, time).
std::string encode(const ChannelJournal::Note& note) {
  auto when = static_cast<std::uint64_t>(note.when.time_since_epoch().count());
  std::string value;
  for (int byte = 0; byte < 8; ++byte, when >>= 8) value.push_back(static_cast<char>(when & 0xff));
  std::vector<std::uint64_t> pairs;
  for (const audio::AudioAttribute& attribute : note.attributes) {
    pairs.push_back(audio::packEntry(attribute.hashKey, audio::entryTime(attribute.hashValue)));
  }
  appendPacked(value, pairs);
  return value;
}

void decode(std::string_view value, ChannelJournal::Note& note) {
  const auto when = audio::loadLittleEndian<std::uint64_t>(value.data());
  note.when = Clock::time_point(Clock::duration(static_cast<Clock::rep>(when)));
  std::vector<std::uint64_t> pairs;
  appendUnpacked(pairs, value.substr(8));
  for (const std::uint64_t pair : pairs) {
    note.attributes.push_back(
        {audio::packEntry(note.id, audio::entryTime(pair)), audio::entryAudioIndex(pair)});
  }
}

}  // namespace

ChannelJournal::ChannelJournal(const fs::path& folder)
    : file_(folder / (std::string(kPrefix) + bootName()), LmdbFile::Durability::kProcess) {
  const std::string own = file_.path().filename().string();
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
    const std::string name = entry.path().filename().string();
    if (name.starts_with(kPrefix) && name != own && name != own + std::string(kLock)) {
      fs::remove(entry.path(), error);
    }
  }
  LmdbTransaction opening(file_, LmdbTransaction::Kind::kWriting);
  sessions_ = opening.table("sessions");
  analyses_ = opening.table("analyses");
  opening.commit();
}

void ChannelJournal::note(const Note& note) {
  LmdbTransaction change(file_, LmdbTransaction::Kind::kWriting);
  const std::string session = encode(note.session);
  const std::string channel = keyOf(note.id);
  const std::string place = channel + keyOf(note.analysis);
  if (change.get(sessions_, channel) != session) {
    dropBefore(change, note.id, std::numeric_limits<std::uint64_t>::max());
    change.put(sessions_, channel, session);
  } else if (change.get(analyses_, place)) {
    return;
  }
  const std::uint32_t slots = note.session.periods.monitor / note.session.periods.update;
  if (note.analysis >= slots) dropBefore(change, note.id, note.analysis - slots + 1);
  change.put(analyses_, place, encode(note));
  change.commit();
}

/// Forgets a channel's analyses whose numbers are below `analysis`.
void ChannelJournal::dropBefore(LmdbTransaction& change, std::uint32_t id, std::uint64_t analysis) {
  std::vector<std::string> old;
  change.forEach(analyses_, keyOf(id), [&](std::string_view key, std::string_view) {
    if (numberOfKey(key.substr(4)) >= analysis) return false;
    old.emplace_back(key);
    return true;
  });
  for (const std::string& key : old) change.erase(analyses_, key);
}

void ChannelJournal::forget(std::uint32_t id) {
  LmdbTransaction change(file_, LmdbTransaction::Kind::kWriting);
  dropBefore(change, id, std::numeric_limits<std::uint64_t>::max());
  change.erase(sessions_, keyOf(id));
  change.commit();
}

void ChannelJournal::read(const std::function<void(Note)>& visit) {
  const LmdbTransaction look(file_, LmdbTransaction::Kind::kReading);
  look.forEach(analyses_, {}, [&](std::string_view key, std::string_view value) {
    if (key.size() != 8 || value.size() < 8) return true;
    const auto session = decodeSession(look.get(sessions_, key.substr(0, 4)).value_or(""));
    if (!session || session->periods.update == 0) return true;
    Note note{numberOfKey(key), *session, numberOfKey(key.substr(4)), {}, {}};
    decode(value, note);
    visit(std::move(note));
    return true;
  });
}

}  // namespace audiomatch
