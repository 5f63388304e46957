#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tool/picture/page.h"

namespace audiomatch {

/// A feature that a recording and a reference have in common, in seconds from
/// the start of each.
struct MatchHit {
  double query;
  double reference;
  std::uint32_t key = 0;  ///< the feature's hash key
};

/// What a recording has in common with one reference.
struct CandidateHits {
  std::string name;
  std::vector<MatchHit> hits;
  double offset;  ///< seconds, reference minus query, on which the most hits agree
  int agreeing;   ///< hits that agree on it
};

/// Whether a hit is one of those that agree.
bool agrees(const MatchHit& hit, const CandidateHits& candidate) noexcept;

/// A match, to be looked at.
struct MatchPicture {
  std::string title;
  std::string subtitle;
  double from;                            ///< second of the recording at which the query starts
  double seconds;                         ///< the query's length
  bool recognised;                        ///< the first candidate is the answer
  std::vector<CandidateHits> candidates;  ///< best first; a row each
};

/// Draws for each candidate its hits, time in the reference against time in the
/// recording, and beside them how many hits each offset close to the best has.
/// Hits that agree lie on a rising line and in the band of the best offset.
/// Texts are UTF-8.
///
/// Returns the bytes of the picture; throws std::runtime_error.
std::vector<unsigned char> drawMatch(const MatchPicture& picture, PictureFormat format);

}  // namespace audiomatch
