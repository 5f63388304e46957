// The whole engine once more, written the slow and obvious way on purpose: the real engine's fast
// ways are held against it, so the two share no code.
#pragma once

#include <complex>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace plain {

// Log lines as the logger would get them, in order; the one line with a measured time reads
// "cvt spectrogram mag to db cost T seconds.".
using Log = std::vector<std::string>;

struct Feature {
  uint32_t startTime = 0, hashKey = 0;
  bool operator==(const Feature&) const = default;
};
struct Attribute {
  uint64_t hashValue = 0;
  uint32_t hashKey = 0;
  bool operator==(const Attribute&) const = default;
};
struct Peak {
  int32_t timeIndex = 0, freqIndex = 0;
  float value = 0;
  bool operator==(const Peak&) const = default;
};
struct LandMark {
  int32_t anchorTime = 0, anchorFreq = 0, targetFreq = 0, deltaTime = 0;
  bool operator==(const LandMark&) const = default;
};
struct Hit {
  int32_t audio_index = -1, time_offset = 2147483647;
  bool operator==(const Hit&) const = default;
};
struct Audio {
  uint32_t channels = 0, rate = 0, len = 0;
  std::vector<float> samples;  // channel-major
};
template <typename T>
struct Grid {
  uint32_t frames = 0, bins = 0;
  std::vector<T> values;  // frame-major
};
using Spectrum = Grid<std::complex<float>>;
using Matrix = Grid<float>;
using Peaks = std::vector<std::vector<Peak>>;  // one list per frame, largest value first

// Zero-filled audio of that shape; false and unchanged for a zero count.
bool shapeAudio(Audio&, uint32_t channels, uint32_t rate, uint32_t len, Log&);
Audio fromPcm(const int16_t* interleaved, uint32_t channels, uint32_t frames, uint32_t rate, Log&);

std::vector<float> hannWindow(uint32_t size);
bool shortTimeSpectrum(const float* data, uint32_t len, uint32_t rate, uint32_t winMs,
                       uint32_t overlapMs, Spectrum&, Log&);
bool logMagnitude(const Spectrum&, Matrix&);
Peaks extractPeaks(const Matrix&, Log&, int32_t timeWinLen = 17, int32_t freqWinLen = 17,
                   int32_t maxPerFrame = 25);
void pairPeaks(const Peaks&, std::vector<LandMark>& out, Log&);
uint32_t hashLandMark(const LandMark&);
void chooseFeatures(std::vector<Feature>&, Log&);

// One libresample handle for its whole life: what that carries over shows in the next block.
struct Finder {
  Finder(bool singlePass, Log&);
  bool setAudio(const Audio* mono);
  bool resample(const float* data, uint32_t count, uint32_t rate);  // to 8000 Hz
  bool genSpectrogram(const float* data, uint32_t rate, uint32_t count);
  bool findLandMarks();
  const bool single_pass;
  const Audio* audio = nullptr;  // mono, borrowed
  std::vector<float> resampled;
  Matrix spectrogram;
  Peaks peaks;
  std::vector<LandMark> landmarks;
  Log& log_;
  std::unique_ptr<void, void (*)(void*)> handle_;
};

struct Extractor {
  Extractor(bool singlePass, Log& log) : finder(singlePass, log), log_(log) {}
  bool load(const Audio*);
  bool extract();
  Finder finder;
  Audio mono;
  std::vector<Feature> features;
  Log& log_;
};

struct Database {
  std::vector<std::string> names;
  std::vector<std::vector<uint64_t>> buckets;
};
bool loadDatabase(const std::vector<uint8_t>& fileBytes, Database&, Log&);
std::string audioName(const Database&, int32_t audioIndex, Log&);

bool extractHits(const Database&, const std::vector<Feature>&, std::vector<Hit>&, Log&);
std::vector<Hit> attributeHits(const std::vector<Feature>&, const std::vector<Attribute>&);
void sortHits(std::vector<Hit>&);  // by audio index, as scoreHits wants them
int32_t scoreHits(const std::vector<Hit>& sorted, float& discrimination, Log&);
// At least one hit, all of one audio, sorted by offset. Draws from the process's lrand48.
uint32_t countConsistentHits(const std::vector<Hit>& hits, uint32_t maxIterations = 60);
int32_t discriminationLevel(float discrimination);

struct Matcher {
  explicit Matcher(Log& log) : log_(log) {}
  bool init(const Database*);  // borrowed; null is a null path: no database
  bool loadAudio(const Audio*);
  bool extractFeatures();
  bool matchAudio(const Audio*);
  std::string bestMatchName();
  int32_t level() const { return discriminationLevel(discrimination); }
  bool matchByFeaturesAndAttributes(const std::vector<Feature>&, const std::vector<Attribute>&,
                                    float* discriminationOut);
  int32_t best_match_index = -1;
  float discrimination = 1.0f;
  std::vector<Feature> features;
  std::unique_ptr<Extractor> extractor;
  Log& log_;
  const Database* database_ = nullptr;
  bool audio_loaded_ = false;
};

struct Stream {
  explicit Stream(Log& log) : log_(log) {}
  bool init(uint32_t streamId, uint32_t updateRate, uint32_t monitorDuration, uint32_t sampleRate,
            uint32_t channels, uint32_t packetLen);
  bool update(const Audio* packet);
  std::vector<Attribute> current, expired;
  std::vector<Audio> packets;  // held, oldest first
  uint32_t buffer_packets = 0, packets_per_update = 0, update_count = 0, slot_count = 0,
           update_frames = 0;
  Log& log_;
  uint32_t stream_id_ = 0, sample_rate_ = 0, channels_ = 0, packet_len_ = 0;
  std::vector<std::vector<Attribute>> slots_;
  std::unique_ptr<Extractor> extractor_;
};

}  // namespace plain
