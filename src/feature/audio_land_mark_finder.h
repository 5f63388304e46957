#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "base/audio_data.h"
#include "base/memory.h"
#include "dsp/resampler.h"
#include "dsp/spectrogram_generator.h"
#include "feature/extraction_outcome.h"
#include "feature/land_mark.h"
#include "feature/local_max_detection.h"

namespace audio {

/// Frames of the analysis grid that a pass over `samples` samples at a rate,
/// in Hz and not zero, has: none for less than one frame.
std::uint64_t frameCount(std::uint64_t samples, std::uint32_t sampleRate) noexcept;

/// Turns one mono recording into landmarks, in one analysis pass or in four
/// whose frame grids start a quarter of a hop apart.
///
/// A pass: the audio from the pass's start on is brought to 8000 Hz, cut into
/// 64 ms frames every 32 ms, transformed, and turned into log magnitudes of
/// 257 bins of 15.625 Hz; `extractPeaks` picks the peaks of every frame and
/// pairs of them become landmarks, timed on the pass's own grid.
///
/// Methods that aren't noexcept throw std::bad_alloc when memory for a list is
/// short; the object stays usable.
///
/// `init` once, then for every recording `setAudio`, `findLandMarks`,
/// `getLandMarks`. The resampler carries its state from pass to pass and from
/// recording to recording (see Resampler). One thread at a time.
class AudioLandMarkFinderBase {
 public:
  using LocalMaxRecorder = ::audio::LocalMaxRecorder;

  AudioLandMarkFinderBase() = default;
  AudioLandMarkFinderBase(const AudioLandMarkFinderBase&) = delete;
  AudioLandMarkFinderBase& operator=(const AudioLandMarkFinderBase&) = delete;
  virtual ~AudioLandMarkFinderBase();

  /// Creates a fresh resampler and spectrogram generator and, when both
  /// exist, stores the mode. Fails, with messages, for lack of memory.
  ///
  /// @param singlePass  true: one pass; false: four
  virtual bool init(bool singlePass);

  /// Replaces `peaks` by those of the current spectrogram.
  virtual bool extractPeaks() = 0;

  /// Attaches a mono recording, which the caller keeps alive, and forgets the
  /// landmarks of the one before. Null is refused with a message.
  bool setAudio(const AudioData* audioData);

  /// Forgets the attached recording and its landmarks.
  void detachAudio() noexcept;

  /// Runs the passes of the mode and appends their landmarks.
  ///
  /// A pass that starts behind the recording's end ends the run well, with a
  /// warning. Fails, with a message and keeping the landmarks of earlier
  /// passes, without a recording or before `init`, and when a pass has no
  /// spectrogram or no peaks; `outcome` tells why.
  bool findLandMarks();

  /// Landmarks of all passes since the recording was attached.
  const std::vector<LandMark>& getLandMarks() const noexcept { return landmarks; }
  bool isSinglePass() const noexcept { return single_pass; }

  /// What came of the last `findLandMarks` or `genSpectrogram`; kFeatures when
  /// it succeeded, whether or not there are landmarks.
  ExtractionOutcome outcome() const noexcept { return outcome_; }

  /// Appends the landmarks of the current peaks and logs the list's length.
  void pairPeaks(std::vector<LandMark>& landMarks) const;

  /// Computes the log-magnitude spectrogram of `count` samples at `data`,
  /// resampled when the attached recording's rate isn't 8000 Hz. Fails, with
  /// messages, for silence, for blocks shorter than one frame, for rates that
  /// aren't supported and for lack of memory.
  ///
  /// @param sampleRate  Hz of the samples
  bool genSpectrogram(const float* data, std::uint32_t sampleRate, std::uint32_t count);

  /// The current spectrogram, `frameNum` rows of `binNum` values; owned by the
  /// finder, valid until the next `genSpectrogram`.
  const float* spectrogramMatrix() const noexcept { return spectrogram.get(); }
  std::uint32_t binNum() const noexcept { return bin_num; }
  std::uint32_t frameNum() const noexcept { return frame_num; }

  /// The peaks of the latest pass, one list per frame, strongest first.
  const std::vector<std::vector<LocalMaxRecorder>>& getPeaks() const noexcept { return peaks; }

 protected:
  const AudioData* audio = nullptr;
  std::uint32_t data_len = 0;
  std::uint32_t sample_rate = 0;
  bool single_pass = false;
  std::unique_ptr<Resampler> resampler;
  std::unique_ptr<SpectrogramGenerator> sepctrogram_generator;
  CArray<float> spectrogram;
  std::uint32_t bin_num = 0;
  std::uint32_t frame_num = 0;
  std::vector<std::vector<LocalMaxRecorder>> peaks;
  std::vector<LandMark> landmarks;

 private:
  bool initResampler();
  bool initSpectrogramGenerator();
  bool resampleSegment(const float*& data, std::uint32_t sampleRate, std::uint32_t& count);
  bool makeSpectrogram(std::uint32_t frames, std::uint32_t bins);
  float transformAll() noexcept;
  bool computeLogMagnitude(float largest) noexcept;
  bool runPass(std::uint32_t start, std::vector<LandMark>& pairs);
  std::uint32_t passStart(float hops) const noexcept;

  std::size_t spectrogram_bytes_ = 0;  // allocated
  ExtractionOutcome outcome_ = ExtractionOutcome::kNone;
};

/// The landmark finder whose peaks stand out in time and frequency at once:
/// in a neighbourhood of `_2d_local_max_detect_time_win_len` frames by
/// `_2d_local_max_detect_freq_win_len` bins, at most
/// `_2d_local_max_number_per_frame` of each frame.
class AudioLandMarkFinder2D : public AudioLandMarkFinderBase {
 public:
  /// Always true. Logs both halves of the neighbourhood.
  bool extractPeaks() override;

  /// Frames behind an anchor that decide on its landmarks: up to the farthest
  /// target, and the neighbourhood in which that must stand out.
  static std::uint32_t reachFrames() noexcept;
};

}  // namespace audio
