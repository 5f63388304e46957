#include "stream/stream_attribute_extractor.h"

#include <algorithm>
#include <utility>

#include "base/logger.h"
#include "match/database/packed_entry.h"
#include "stream/stream_grid.h"

namespace audio {
namespace {

void logBadParameters(std::uint32_t updateRate, std::uint32_t sampleRate,
                      std::uint32_t monitorDuration, std::uint32_t packetLen) noexcept {
  logMessage(
      "input bad parameters, update_rate = %d, sample rate = %d, monitor_win_len = %d, "
      "input_audio_packet_len = %d.",
      static_cast<int>(updateRate), static_cast<int>(sampleRate), static_cast<int>(monitorDuration),
      static_cast<int>(packetLen));
}

}  // namespace

StreamAttributeExtractor::~StreamAttributeExtractor() { reset(); }

bool StreamAttributeExtractor::init(std::uint32_t streamId, std::uint32_t updateRate,
                                    std::uint32_t monitorDuration, std::uint32_t sampleRate,
                                    std::uint32_t channels, std::uint32_t packetLen) {
  if (updateRate == 0 || sampleRate == 0 || monitorDuration == 0 || packetLen == 0) {
    logBadParameters(updateRate, sampleRate, monitorDuration, packetLen);
    return false;
  }
  if (monitorDuration % updateRate != 0) {
    logMessage("monitor_duration %% update_rate must be zero.");
    return false;
  }
  const auto grid = streamGrid(updateRate, monitorDuration, sampleRate, packetLen);
  if (!grid) {
    logBadParameters(updateRate, sampleRate, monitorDuration, packetLen);
    return false;
  }
  reset();
  if (!initFeatureExtractor()) return false;
  stream_id_ = streamId;
  sample_rate_ = sampleRate;
  input_audio_packet_len_ = packetLen;
  monitor_duration_ = monitorDuration;
  packets_per_update_ = grid->packets_per_update;
  buffer_packets_ = grid->buffer_packets;
  update_frames_ = grid->update_frames;
  slot_count_ = grid->slot_count;
  if (attribute_slots_.size() > slot_count_) attribute_slots_.resize(slot_count_);
  // Last: packets are only taken when there is a buffer.
  buffer_.reset(AudioData::create(channels, sampleRate, grid->buffer_len));
  return buffer_ != nullptr;
}

void StreamAttributeExtractor::reset() noexcept {
  stream_id_ = 0;
  sample_rate_ = 0;
  input_audio_packet_len_ = 0;
  monitor_duration_ = 0;
  buffer_packets_ = 0;
  update_count_ = 0;
  last_analysis_.reset();
  update_frames_ = 0;
  slot_count_ = 0;
  buffer_.reset();
  packets_.clear();
  feature_extractor_.reset();
}

bool StreamAttributeExtractor::initFeatureExtractor() {
  feature_extractor_ = FeatureExtractor::create();
  return feature_extractor_ && feature_extractor_->init(true);
}

bool StreamAttributeExtractor::update(const AudioData* packet) {
  last_analysis_.reset();
  if (!packet) {
    logMessage("input a null packet.");
    return false;
  }
  current_attributes_.clear();
  expired_attributes_.clear();
  if (!matchesStream(*packet)) {
    logMessage("input packet does not match the stream.");
    return false;
  }
  // Copied before anything changes, so that the call can be repeated.
  AudioDataPtr copy(AudioData::createEmpty());
  if (!copy || !copy->copyFrom(*packet)) {
    logMessage("copy audio data failed.");
    return false;
  }
  try {
    if (packets_.size() == buffer_packets_ && !analyse()) return false;
  } catch (...) {
    current_attributes_.clear();
    expired_attributes_.clear();
    throw;
  }
  packets_.push_back(std::move(copy));
  return true;
}

bool StreamAttributeExtractor::matchesStream(const AudioData& packet) const noexcept {
  return buffer_ && packet.channels() == buffer_->channels() &&
         packet.dataLen() == input_audio_packet_len_ && packet.sampleRate() == sample_rate_;
}

/// Fingerprints the held packets and drops the oldest period.
bool StreamAttributeExtractor::analyse() {
  concatenate();
  if (!feature_extractor_->loadAudio(buffer_.get())) {
    logMessage("feature extractor load audio failed.");
    return false;
  }
  // Nothing to find in silence, say: the list is empty then.
  feature_extractor_->extractFeatures();
  const std::vector<AudioFeature> features = featuresOfFirstPeriod();
  current_attributes_.resize(features.size());
  makeAttributes(features.data(), stream_id_, features.size(), current_attributes_.data());
  rememberAttributes();
  dropOldestPeriod();
  return true;
}

void StreamAttributeExtractor::concatenate() noexcept {
  std::size_t offset = 0;
  for (const AudioDataPtr& packet : packets_) {
    for (std::uint32_t ch = 0; ch < packet->channels(); ++ch) {
      std::copy_n(packet->channelData(ch), packet->dataLen(), buffer_->channelData(ch) + offset);
    }
    offset += packet->dataLen();
  }
}

/// Those up to and including the first frame of the next period.
std::vector<AudioFeature> StreamAttributeExtractor::featuresOfFirstPeriod() const {
  std::vector<AudioFeature> kept;
  for (const AudioFeature& feature : feature_extractor_->getFeatures()) {
    if (feature.startTime <= update_frames_) kept.push_back(feature);
  }
  return kept;
}

void StreamAttributeExtractor::makeAttributes(const AudioFeature* features, std::uint32_t streamId,
                                              std::size_t count,
                                              AudioAttribute* out) const noexcept {
  const std::uint32_t first_code = update_count_ * (update_frames_ + 1);
  for (std::size_t i = 0; i < count; ++i) {
    out[i] = {packEntry(streamId, first_code + features[i].startTime), features[i].hashKey};
  }
}

/// Files the current attributes in the ring, in the place of those that expire.
void StreamAttributeExtractor::rememberAttributes() {
  const std::uint32_t number = update_count_ % slot_count_;
  if (number == attribute_slots_.size()) attribute_slots_.emplace_back();
  std::vector<AudioAttribute>& slot = attribute_slots_[number];
  std::vector<AudioAttribute> remembered = current_attributes_;
  if (update_count_ >= slot_count_) expired_attributes_ = slot;
  slot = std::move(remembered);
  last_analysis_ = update_count_++;
}

void StreamAttributeExtractor::dropOldestPeriod() noexcept {
  packets_.erase(packets_.begin(),
                 packets_.begin() + static_cast<std::ptrdiff_t>(packets_per_update_));
}

}  // namespace audio
