#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "match/audio_attribute.h"
#include "recordings.h"
#include "roughening.h"
#include "stream/stream_attribute_extractor.h"
#include "tool/recognition/live_channels.h"

namespace bench {

inline constexpr audiomatch::ChannelPeriods kMinute{1, 60};

/// Seconds of sound after which a channel's monitor time is full, and a little more.
inline constexpr double kPieceSeconds = 64.5;

/// A stretch of a recording that a channel plays.
struct Piece {
  std::size_t recording;  ///< its place in the list
  double start;           ///< in seconds of the recording
  double speed;           ///< 1, or less for slower and deeper

  /// The same, out of the recording's sound.
  Sound of(const Sound& whole) const;
};

/// The pieces that there are, in random order.
struct Pieces {
  std::vector<Piece> on_air;     ///< no two with the same sound; first come all of speed 1
  std::vector<Piece> strangers;  ///< of recordings that no channel plays
};

/// Cuts recordings into pieces, end to end, and twice more at other speeds: a semitone lower, the
/// same music has other landmarks.
Pieces cutAll(const std::vector<Listed>& recordings);

/// The first pieces that are on air. Ends the program when there aren't as many.
std::vector<Piece> onAir(const Pieces& pieces, std::size_t channels);

/// Calls work(i, sound) for each of some pieces, on two threads. The recordings are at 8 kHz.
void forEachPiece(const std::vector<Listed>& recordings, const std::vector<Piece>& pieces,
                  const std::function<void(std::size_t, const Sound&)>& work);

/// The attributes of each analysis of a piece.
using Analyses = std::vector<std::vector<audio::AudioAttribute>>;

/// Has a listener hear the monitor time, packet by packet as a channel's feed does.
///
/// @param extractor  one that wasn't used before
/// @param channels   in each of which the sound is
Analyses listen(audio::StreamAttributeExtractor& extractor, const Sound& sound,
                std::uint32_t channels);

/// The attributes of an analysis of a channel that plays a piece again and again.
std::vector<audio::AudioAttribute> attributesAt(const Analyses& piece, std::uint32_t analysis);

/// The analyses of some pieces.
std::vector<Analyses> analysesOf(const std::vector<Listed>& recordings,
                                 const std::vector<Piece>& pieces);

/// What the channel of a number goes by.
audiomatch::ChannelSession sessionOf(std::size_t id, audiomatch::ChannelPeriods periods = kMinute);

}  // namespace bench
