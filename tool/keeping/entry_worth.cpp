#include "tool/keeping/entry_worth.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdlib>

#include "feature/land_mark.h"

namespace audiomatch {
namespace {

// All numbers are scripts/fit-survival's, of half of the music of docs/recognition.md.

constexpr std::size_t kBinsOfBand = 16;
constexpr std::array<double, 16> kOfBand = {-2.75, -2.95, -2.98, -2.97, -2.96, -2.98, -3.11, -3.10,
                                            -3.12, -3.04, -3.12, -2.95, -2.83, -2.86, -2.77, -1.36};
constexpr double kOfLevel = 0.727;
constexpr double kOfAround = -0.312;
constexpr double kOfBinsApart = 0.0035;
constexpr double kOfFramesApart = -0.0129;

constexpr std::size_t kBinsOfStep = 4;
constexpr std::array<double, 64> kOfAnchor = {
    0.11,  1.05, 0.06, -0.11, -0.03, -0.04, -0.06, -0.02, -0.02, 0.10,  0.09,  -0.01, 0.05,
    0.06,  0.06, 0.02, 0.06,  0.02,  0.02,  0.08,  0.01,  0.09,  -0.01, 0.06,  0.16,  0.10,
    -0.03, 0.09, 0.01, 0.05,  0.08,  0.02,  0.17,  -0.03, 0.13,  -0.02, 0.13,  -0.00, 0.14,
    0.02,  0.03, 0.10, 0.03,  0.13,  0.02,  0.08,  0.17,  0.15,  0.23,  0.24,  0.29,  0.36,
    0.21,  0.04, 0.10, -0.22, -0.60, -0.73, -0.95, -1.45, -1.50, -1.55, -1.23, -0.37};
constexpr std::array<double, 64> kOfTarget = {
    -0.22, 0.70,  -0.26, -0.38, -0.23, -0.18, -0.15, -0.04, -0.06, -0.01, -0.01, -0.09, -0.00,
    0.02,  0.04,  -0.01, 0.01,  -0.01, 0.02,  0.08,  0.03,  0.11,  0.01,  0.04,  0.14,  0.11,
    -0.01, 0.12,  0.04,  0.08,  0.09,  0.03,  0.17,  -0.02, 0.15,  0.00,  0.16,  0.02,  0.16,
    0.05,  0.05,  0.12,  0.05,  0.16,  0.06,  0.09,  0.16,  0.11,  0.15,  0.11,  0.09,  0.10,
    -0.10, -0.35, -0.35, -0.72, -1.09, -1.23, -1.49, -2.01, -2.08, -2.15, -1.85, -1.02};
constexpr std::array<double, 31> kOfBins = {0.00,  0.37,  -0.37, -0.40, -0.42, -0.43, -0.44, -0.45,
                                            -0.44, -0.06, 0.19,  0.25,  0.20,  0.18,  0.16,  0.14,
                                            0.15,  0.13,  0.10,  0.10,  0.08,  0.09,  0.10,  0.08,
                                            0.04,  0.02,  0.01,  -0.00, -0.00, -0.01, -0.04};
constexpr double kIntervalsOfOctave = 24.0;
constexpr long kMostIntervals = 60;  // to either side
constexpr std::array<double, 2 * kMostIntervals + 1> kOfInterval = {
    0.32,  0.19,  0.04,  -0.06, -0.20, -0.56, -0.09, -0.12, -0.19, 0.16,  0.12,  0.05,  0.11,
    0.12,  0.36,  0.02,  -0.11, -0.15, 0.22,  -0.02, 0.05,  0.27,  0.17,  0.30,  -0.24, -0.07,
    0.08,  0.08,  0.08,  -0.04, -0.11, -0.22, -0.09, -0.43, -0.24, 0.41,  0.75,  0.24,  -0.15,
    -0.38, 0.14,  -0.36, 0.33,  -0.37, -0.03, -0.20, 0.82,  -0.41, -0.24, -0.37, 0.62,  -0.36,
    0.24,  -0.27, 0.21,  -0.20, 0.19,  -0.24, 0.00,  -0.20, -0.01, -0.21, -0.02, -0.28, 0.18,
    -0.25, 0.19,  -0.31, 0.22,  -0.38, 0.61,  -0.40, -0.27, -0.42, 0.79,  -0.21, -0.01, -0.37,
    0.29,  -0.39, 0.11,  -0.40, -0.19, 0.22,  0.75,  0.41,  -0.23, -0.43, -0.08, -0.20, -0.09,
    0.00,  0.12,  0.10,  0.05,  -0.06, -0.26, 0.31,  0.23,  0.31,  0.07,  -0.01, 0.23,  -0.14,
    -0.09, 0.04,  0.43,  0.16,  0.16,  0.10,  0.20,  0.25,  -0.14, -0.05, -0.02, -0.50, -0.10,
    0.02,  0.13,  0.30,  0.46};
constexpr std::array<double, 64> kOfFrames = {
    0.00,  0.59,  -0.01, -0.16, -0.21, -0.19, -0.16, -0.18, -0.12, 0.58,  0.72,  0.69,  0.67,
    0.56,  0.51,  0.48,  0.47,  0.52,  0.59,  0.59,  0.56,  0.52,  0.47,  0.43,  0.41,  0.34,
    0.33,  0.37,  0.35,  0.37,  0.30,  0.28,  0.19,  0.20,  0.11,  0.12,  0.06,  -0.11, -0.11,
    -0.21, -0.30, -0.26, -0.43, -0.48, -0.51, -0.60, -0.71, -0.67, -0.79, -0.92, -0.94, -1.03,
    -1.15, -1.20, -1.24, -1.38, -1.47, -1.50, -1.49, -1.69, -1.74, -1.76, -1.82, -1.93};

/// How many half-semitones a bin is above another.
long intervalOf(std::size_t anchor, std::size_t target) noexcept {
  const double octaves = std::log2(static_cast<double>(std::max<std::size_t>(target, 1))) -
                         std::log2(static_cast<double>(std::max<std::size_t>(anchor, 1)));
  return std::clamp(std::lround(kIntervalsOfOctave * octaves), -kMostIntervals, kMostIntervals);
}

/// A bin as a key knows it, in eight bits.
std::size_t binOf(std::int32_t bin) noexcept { return static_cast<std::size_t>(bin & 0xFF); }

}  // namespace

double logSurvival(const RatedFeature& feature) noexcept {
  const audio::LandMark pair = audio::landMarkOfHash(feature.feature.hashKey);
  const double logit = kOfBand[binOf(pair.anchorFreq) / kBinsOfBand] +
                       kOfLevel * static_cast<double>(feature.level) +
                       kOfAround * static_cast<double>(feature.around) +
                       kOfBinsApart * std::abs(pair.targetFreq - pair.anchorFreq) +
                       kOfFramesApart * pair.deltaTime;
  return -std::log1p(std::exp(-logit));
}

double logChance(std::uint32_t hash_key) noexcept {
  const audio::LandMark pair = audio::landMarkOfHash(hash_key);
  const std::size_t anchor = binOf(pair.anchorFreq);
  const std::size_t target = binOf(pair.targetFreq);
  const auto bins = static_cast<std::size_t>(std::abs(pair.targetFreq - pair.anchorFreq));
  return kOfAnchor[anchor / kBinsOfStep] + kOfTarget[target / kBinsOfStep] +
         kOfBins[std::min(bins, kOfBins.size() - 1)] +
         kOfInterval[static_cast<std::size_t>(intervalOf(anchor, target) + kMostIntervals)] +
         kOfFrames[static_cast<std::size_t>(pair.deltaTime)];
}

}  // namespace audiomatch
