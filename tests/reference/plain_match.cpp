#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdlib>

#include "plain_log.h"

namespace plain {

bool loadDatabase(const std::vector<uint8_t>& fileBytes, Database& db, Log& log) {
  std::size_t pos = 0;
  const auto bad = [&] { return say(log, "load a bad db."); };
  const auto left = [&] { return uint64_t(fileBytes.size() - pos); };
  const auto number = [&](unsigned size) {  // bytes the file has not got count as 0
    uint64_t value = 0;
    for (unsigned i = 0; i < size && left() > 0; ++i)
      value |= uint64_t(fileBytes[pos++]) << (8 * i);
    return value;
  };
  db = Database();
  const uint64_t name_count = number(4);
  for (uint64_t i = 0; i < name_count; ++i) {
    if (left() < 4) return bad();
    const uint64_t block = number(4) + 1;
    if (left() < block) return bad();
    std::string name;
    for (uint64_t k = 0; k < block && fileBytes[pos + k] != 0; ++k)
      name.push_back(char(fileBytes[pos + k]));
    db.names.push_back(name);
    pos += block;
  }
  const uint64_t table_size = number(4), time_slots = number(4);
  if (table_size != 0x100000 || time_slots != 0x4000) return bad();
  db.buckets.resize(table_size);
  for (std::vector<uint64_t>& bucket : db.buckets) {
    const uint64_t entries = number(4);
    if (8 * entries > (1u << 30) && 8 * entries > left()) return bad();
    bucket.resize(entries);
    for (uint64_t& entry : bucket) entry = number(8);
  }
  return true;
}

std::string audioName(const Database& db, int32_t audioIndex, Log& log) {
  if (audioIndex < 0) return "";
  const std::size_t i = std::size_t(audioIndex);
  const std::string name = i < db.names.size() ? db.names[i] : "";
  say(log, "\n###### Best Match is %s.\n", name.c_str());
  return name;
}

static Hit decode(uint64_t entry, const Feature& feature) {
  const uint32_t time = uint32_t(entry & 0x3FFF);
  return {int32_t(uint32_t(entry >> 14)), int32_t(time - feature.startTime)};
}

bool extractHits(const Database& db, const std::vector<Feature>& features, std::vector<Hit>& hits,
                 Log& log) {
  hits.clear();
  for (const Feature& feature : features)
    if (feature.hashKey < db.buckets.size())
      for (uint64_t entry : db.buckets[feature.hashKey]) hits.push_back(decode(entry, feature));
  return !hits.empty() || say(log, "hit results is empty.");
}

std::vector<Hit> attributeHits(const std::vector<Feature>& features,
                               const std::vector<Attribute>& attributes) {
  std::vector<Hit> hits(attributes.size());
  std::size_t j = 0;
  for (const Feature& feature : features)
    for (; j < attributes.size() && attributes[j].hashKey == feature.hashKey; ++j)
      hits[j] = decode(attributes[j].hashValue, feature);
  return hits;
}

void sortHits(std::vector<Hit>& hits) { std::ranges::stable_sort(hits, {}, &Hit::audio_index); }

int32_t scoreHits(const std::vector<Hit>& sorted, float& discrimination, Log& log) {
  using Group = std::vector<Hit>;
  struct Match {
    int32_t audio_index;
    uint32_t matched_num;
  };
  std::vector<Group> groups;
  std::vector<Match> matches;
  if (sorted.empty()) return -1;
  for (const Hit& hit : sorted) {
    if (groups.empty() || groups.back()[0].audio_index != hit.audio_index)
      groups.push_back(Group());
    groups.back().push_back(hit);
  }
  for (Group& group : groups) std::ranges::stable_sort(group, {}, &Hit::time_offset);
  std::ranges::stable_sort(groups, std::greater(), std::ranges::size);
  for (std::size_t i = 0; i < groups.size() && i < 20; ++i)
    matches.push_back({groups[i][0].audio_index, countConsistentHits(groups[i])});
  std::ranges::stable_sort(matches, std::greater(), &Match::matched_num);
  const uint32_t best = matches[0].matched_num;
  if (best == 0) return -1;
  say(log, "most matched feature num is %d.", best);
  const uint32_t second = matches.size() >= 2 ? matches[1].matched_num : 0;
  say(log, "second most matched feature num is %d.", second);
  discrimination = float(best - second) / float(best + second);
  say(log, "most matched audio discrimination is %f.", double(discrimination));
  return matches[0].audio_index;
}

uint32_t countConsistentHits(const std::vector<Hit>& hits, uint32_t maxIterations) {
  const uint32_t n = uint32_t(hits.size());
  uint32_t best_count = 0, draws = 0, limit = maxIterations;
  int64_t best_error = 2147483647;
  do {
    ++draws;
    const int32_t pivot = hits[uint32_t(lrand48()) % n].time_offset;
    uint32_t count = 0;
    int64_t error = 0;
    for (const Hit& hit : hits) {
      const int32_t difference = int32_t(uint32_t(hit.time_offset) - uint32_t(pivot));
      const bool agrees = difference >= -4 && difference <= 4;  // -2^31 has no absolute value
      if (agrees) ++count;
      error += agrees ? std::abs(difference) : 4;
    }
    if (count < best_count || error >= best_error) continue;
    const float w = float(count) / float(n);
    if (count > best_count && w > FLT_MIN) {
      const float q = 1.0f - w;
      limit = 0;
      if (q > std::bit_cast<float>(0x2B8CBCCCu)) {                           // 1e-12
        const double numerator = double(std::bit_cast<float>(0xC0DD0CB3u));  // ln 0.001
        const double wanted = std::ceil(numerator / std::log(double(q)));
        const bool fits = wanted > -2147483649.0 && wanted < 2147483648.0;
        limit = fits ? uint32_t(int32_t(wanted)) : maxIterations;
      }
    }
    best_count = count;
    best_error = error;
  } while (best_count != n && draws <= limit && draws <= maxIterations);
  return best_count;
}

int32_t discriminationLevel(float discrimination) {
  return discrimination < 0.35f ? 0 : discrimination < 0.5f ? 1 : 2;
}

bool Matcher::init(const Database* database) {
  database_ = database;
  if (!database) say(log_, "input db_path is null.");
  extractor = std::make_unique<Extractor>(false, log_);
  return true;
}

bool Matcher::loadAudio(const Audio* audio) {
  audio_loaded_ = false;
  discrimination = 1.0f;
  if (!audio) return say(log_, "input a NULL audio data.");
  if (!extractor) return say(log_, "feature extractor is NULL.");
  return audio_loaded_ = extractor->load(audio);
}

bool Matcher::extractFeatures() {
  if (!audio_loaded_) return say(log_, "audio data have not loaded.");
  if (!extractor->extract()) return false;
  features = extractor->features;
  return true;
}

bool Matcher::matchAudio(const Audio* audio) {
  std::vector<Hit> hits;
  if (!database_) return say(log_, "query data base is NULL.");
  if (!loadAudio(audio) || !extractFeatures()) return false;
  if (!extractHits(*database_, features, hits, log_))
    return say(log_, "extract all hits from database failed.");
  say(log_, "features num: %d", int(features.size()));
  say(log_, "attribute num: %d", int(hits.size()));
  sortHits(hits);
  best_match_index = scoreHits(hits, discrimination, log_);
  return best_match_index >= 0 || say(log_, "matched failed.");
}

std::string Matcher::bestMatchName() {
  return database_ ? audioName(*database_, best_match_index, log_) : "";
}

bool Matcher::matchByFeaturesAndAttributes(const std::vector<Feature>& given,
                                           const std::vector<Attribute>& attributes,
                                           float* discriminationOut) {
  if (given.empty()) return say(log_, "audio features is empty.");
  if (attributes.empty()) return say(log_, "audio attributes is empty.");
  std::vector<Hit> hits = attributeHits(given, attributes);
  sortHits(hits);
  best_match_index = scoreHits(hits, discrimination, log_);
  // Other negative indices are large stream identifiers.
  if (best_match_index == -1) return say(log_, "matched failed.");
  if (discriminationOut) *discriminationOut = discrimination;
  return true;
}

bool Stream::init(uint32_t streamId, uint32_t updateRate, uint32_t monitorDuration,
                  uint32_t sampleRate, uint32_t channels, uint32_t packetLen) {
  const auto bad = [&] {
    return say(log_,
               "input bad parameters, update_rate = %d, sample rate = %d, monitor_win_len = "
               "%d, input_audio_packet_len = %d.",
               updateRate, sampleRate, monitorDuration, packetLen);
  };
  if (updateRate == 0 || sampleRate == 0 || monitorDuration == 0 || packetLen == 0) return bad();
  if (monitorDuration % updateRate != 0)
    return say(log_, "monitor_duration %% update_rate must be zero.");
  const auto packetsIn = [&](uint64_t seconds) {
    return uint64_t(double(sampleRate * seconds) / double(packetLen) + 0.5);
  };
  const uint64_t per_update = packetsIn(updateRate);
  const uint64_t in_buffer = std::max<uint64_t>(packetsIn(5), 1);
  const uint64_t frames = uint64_t(double(uint64_t(updateRate) * 1000) * 0.03125);
  if (per_update < 1 || per_update > in_buffer) return bad();
  if (in_buffer * packetLen > UINT32_MAX || frames > UINT32_MAX) return bad();

  update_count = slot_count = 0;
  packets.clear();
  extractor_ = std::make_unique<Extractor>(true, log_);
  stream_id_ = streamId;
  sample_rate_ = sampleRate;
  channels_ = channels;
  packet_len_ = packetLen;
  packets_per_update = uint32_t(per_update);
  buffer_packets = uint32_t(in_buffer);
  update_frames = uint32_t(frames);
  Audio buffer;
  if (!shapeAudio(buffer, channels, sampleRate, packetLen * buffer_packets, log_)) return false;
  slot_count = monitorDuration / updateRate;
  slots_.resize(slot_count);
  return true;
}

bool Stream::update(const Audio* packet) {
  if (!packet) return say(log_, "input a null packet.");
  current.clear();
  expired.clear();
  if (!extractor_ || packet->channels != channels_ || packet->len != packet_len_ ||
      packet->rate != sample_rate_)
    return say(log_, "input packet does not match the stream.");
  if (packets.size() < buffer_packets) {
    packets.push_back(*packet);
    return true;
  }
  Audio buffer;
  shapeAudio(buffer, channels_, sample_rate_, packet_len_ * buffer_packets, log_);
  for (std::size_t ch = 0, at = 0; ch < channels_; ++ch)
    for (const Audio& held : packets)
      for (std::size_t i = 0; i < packet_len_; ++i)
        buffer.samples[at++] = held.samples[ch * packet_len_ + i];
  if (!extractor_->load(&buffer)) return say(log_, "feature extractor load audio failed.");
  extractor_->extract();  // a failure leaves no features, which is no failure of the stream
  for (const Feature& feature : extractor_->features) {
    if (feature.startTime > update_frames) continue;
    const uint32_t time = update_count * (update_frames + 1) + feature.startTime;
    current.push_back({(uint64_t(stream_id_) << 14) + (time & 0x3FFF), feature.hashKey});
  }
  std::vector<Attribute>& slot = slots_[update_count % slot_count];
  if (update_count >= slot_count) expired = slot;
  slot = current;
  ++update_count;
  packets.erase(packets.begin(), packets.begin() + std::ptrdiff_t(packets_per_update));
  packets.push_back(*packet);
  return true;
}

}  // namespace plain
