/// From the spectrogram to the features of a recording.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "plain_log.h"
#include "plain_signal.h"

namespace plain {

/// A cell of the spectrogram that stands out from its neighbourhood.
struct Peak {
  /// Frame, counted from the first one of its pass.
  std::int32_t timeIndex = 0;
  /// Bin.
  std::int32_t freqIndex = 0;
  /// The spectrogram's value there.
  float value = 0;
};

/// The peaks of every frame, largest value first.
using Peaks = std::vector<std::vector<Peak>>;

/// The peaks of a matrix of any shape. The neighbourhood of a cell reaches half of each window
/// length, rounded down, to either side; at most `maxPerFrame` peaks of a frame are kept.
Peaks extractPeaks(const Matrix& matrix, Log& log, std::int32_t timeWinLen = 17,
                   std::int32_t freqWinLen = 17, std::int32_t maxPerFrame = 25);

/// A peak, the anchor, with a later one nearby, the target.
struct LandMark {
  /// Frame of the anchor, within its pass.
  std::int32_t anchorTime = 0;
  /// Bin of the anchor.
  std::int32_t anchorFreq = 0;
  /// Bin of the target, 1 to 30 away from the anchor's.
  std::int32_t targetFreq = 0;
  /// Frames from the anchor to the target, 1 to 63.
  std::int32_t deltaTime = 0;
};

/// The landmarks among the peaks of one pass: by anchor frame, then by the anchor's strength, then
/// by target frame, then by the target's strength.
std::vector<LandMark> pairPeaks(const Peaks& peaks, Log& log);

/// The landmark's two bins and its time difference, packed into 20 bits.
std::uint32_t hashLandMark(const LandMark& mark);

/// Finds the landmarks of one mono recording after the other.
struct Finder {
  Finder(bool singlePass, Log& messages) : single_pass(singlePass), log(messages) {}
  /// Takes a copy of the recording to analyse and forgets the landmarks; false for null.
  bool setAudio(const Audio* mono);
  /// Adds the landmarks of every pass over the recording; false, after a message, if there is no
  /// recording or a pass has no spectrogram.
  bool findLandMarks();

  /// One pass from the first sample, or four passes a quarter of a hop apart.
  const bool single_pass;
  /// The recording under analysis, if there has been one.
  std::optional<Audio> audio;
  /// The spectrogram of the last pass.
  Matrix spectrogram;
  /// The peaks of the last pass.
  Peaks peaks;
  /// The landmarks of all passes since the recording was set.
  std::vector<LandMark> landmarks;
  /// Carries its filter's history from pass to pass and from recording to recording.
  Resampler resampler;
  Log& log;

 private:
  bool computeSpectrogram(std::uint32_t start);
};

/// The fingerprint's unit.
struct Feature {
  /// Frame of the landmark's anchor, within its pass.
  std::uint32_t startTime = 0;
  /// The landmark's hash, below 2^20.
  std::uint32_t hashKey = 0;
  bool operator==(const Feature&) const = default;
};

/// Turns one recording after the other into features.
struct Extractor {
  Extractor(bool singlePass, Log& messages) : finder(singlePass, messages), log(messages) {}
  /// Takes the recording to analyse; false, after a message, if it is null or empty. Null leaves
  /// everything as it was, an empty recording removes the features.
  bool load(const Audio* recording);
  /// Makes `features`; false, after a message, if there are none, and `features` stay.
  bool extract();

  /// Holds the recording; its resampler carries over from recording to recording.
  Finder finder;
  /// The features of the recording last loaded: chosen, or in the order of the landmarks in
  /// single-pass mode.
  std::vector<Feature> features;
  Log& log;
};

}  // namespace plain
