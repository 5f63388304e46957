#include "tool/picture/match_picture.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

#include "base/analysis_grid.h"
#include "match/scoring/offset_consensus.h"
#include "tool/output/display_text.h"
#include "tool/output/text.h"
#include "tool/picture/labels.h"
#include "tool/picture/lettering.h"
#include "tool/picture/plot_area.h"

namespace audiomatch {
namespace {

// Points.
constexpr double kScatterWidth = 268.0;
constexpr double kHistogramWidth = 186.0;
constexpr double kPanelHeight = 132.0;
constexpr double kPanelHead = 20.0;
constexpr double kPanelGap = 16.0;
constexpr double kRightMargin = 14.0;
constexpr double kPixelsPerPoint = 3.0;

constexpr double kFrame = audio::secondsOfFrames(1);
// Half a frame more: offsets are whole frames.
constexpr double kTolerance = (audio::kOffsetTolerance + 0.5) * kFrame;
// Frames on either side of the best offset that the histogram shows.
constexpr int kHistogramReach = 78;
// A reference is shown over at most so many lengths of the query, so that the
// line of the hits that agree is seen to rise.
constexpr double kMostLengths = 6.0;

/// The times of the reference that are shown: all that has hits, or around
/// where the query is.
Range referenceRange(const MatchPicture& picture, const CandidateHits& candidate) {
  const double start = picture.from + candidate.offset;
  Range all{start, start + picture.seconds};
  for (const MatchHit& hit : candidate.hits) {
    all = {std::min(all.from, hit.reference), std::max(all.to, hit.reference)};
  }
  const double room = 0.02 * all.length();
  all = {all.from - room, all.to + room};
  const double most = kMostLengths * picture.seconds;
  if (all.length() > most) {
    const double from = std::clamp(start + (picture.seconds - most) / 2, all.from, all.to - most);
    all = {from, from + most};
  }
  return all;
}

void drawHits(cairo_t* cairo, const PlotArea& area, const CandidateHits& candidate,
              const Colour& colour, bool agreeing) {
  cairo_set_line_cap(cairo, CAIRO_LINE_CAP_ROUND);
  cairo_set_line_width(cairo, agreeing ? 3.0 : 1.6);
  setColour(cairo, colour);
  for (const MatchHit& hit : candidate.hits) {
    if (agrees(hit, candidate) != agreeing) continue;
    cairo_move_to(cairo, area.x(hit.query), area.y(hit.reference));
    cairo_line_to(cairo, area.x(hit.query), area.y(hit.reference));
    cairo_stroke(cairo);
  }
  cairo_set_line_cap(cairo, CAIRO_LINE_CAP_BUTT);
}

void drawScatter(cairo_t* cairo, const MatchPicture& picture, const CandidateHits& candidate,
                 double top, const Colour& colour) {
  const PlotArea area{kLeftMargin,
                      top,
                      kScatterWidth,
                      kPanelHeight,
                      {picture.from, picture.from + picture.seconds},
                      referenceRange(picture, candidate)};
  {
    const Clip clip(cairo, area);
    drawHits(cairo, area, candidate, kBackdrop, false);
    drawHits(cairo, area, candidate, colour, true);
  }
  drawFrame(cairo, area);
  drawUprightTimeAxis(cairo, area, "reference");
  drawTimeAxis(cairo, area, "recording");
}

/// Hits by their offset's distance from the best one, in frames.
std::vector<int> histogram(const CandidateHits& candidate) {
  std::vector<int> counts(2 * kHistogramReach + 1);
  for (const MatchHit& hit : candidate.hits) {
    const double distance = (hit.reference - hit.query - candidate.offset) / kFrame;
    if (std::fabs(distance) < kHistogramReach + 0.5) {
      ++counts[static_cast<std::size_t>(std::lround(distance) + kHistogramReach)];
    }
  }
  return counts;
}

/// Seconds from the best offset along the lower edge.
void drawOffsetAxis(cairo_t* cairo, const PlotArea& area) {
  setColour(cairo, kInk);
  for (int second = -2; second <= 2; ++second) {
    const double x = area.x(second);
    strokeLine(cairo, x, area.bottom(), x, area.bottom() + 3.5, 0.6);
    drawText(cairo,
             second == 0 ? "0" : fmt::format("{}{}", second < 0 ? "\u2212" : "+", std::abs(second)),
             x, area.bottom() + 11, kLabelSize, TextAnchor::kCentre);
  }
  drawText(cairo,
           fmt::format("offset from the best / s (band: \u00b1{} frames)", audio::kOffsetTolerance),
           area.left + area.width / 2, area.bottom() + 27, kLabelSize, TextAnchor::kCentre);
}

void drawHistogram(cairo_t* cairo, const CandidateHits& candidate, double top,
                   const Colour& colour) {
  const std::vector<int> counts = histogram(candidate);
  const double reach = (kHistogramReach + 0.5) * kFrame;
  const PlotArea area{kLeftMargin + kScatterWidth + kLeftMargin,
                      top,
                      kHistogramWidth,
                      kPanelHeight,
                      {-reach, reach},
                      {0.0, std::max(1.15 * *std::ranges::max_element(counts), 4.0)}};
  setColour(cairo, colour, 0.14);
  cairo_rectangle(cairo, area.x(-kTolerance), area.top, area.x(kTolerance) - area.x(-kTolerance),
                  area.height);
  cairo_fill(cairo);
  for (int distance = -kHistogramReach; distance <= kHistogramReach; ++distance) {
    const int bar = distance + kHistogramReach;
    const double height = counts[static_cast<std::size_t>(bar)];
    const bool in_band = std::abs(distance) <= audio::kOffsetTolerance;
    setColour(cairo, in_band ? colour : kBackdrop);
    const double left = area.x((distance - 0.5) * kFrame);
    cairo_rectangle(cairo, left, area.y(height), area.width / static_cast<double>(counts.size()),
                    area.bottom() - area.y(height));
    cairo_fill(cairo);
  }
  drawFrame(cairo, area);
  drawValueAxis(cairo, area, "hits", 1);
  drawOffsetAxis(cairo, area);
}

void drawCandidate(cairo_t* cairo, const MatchPicture& picture, std::size_t place, double top) {
  const CandidateHits& candidate = picture.candidates[place];
  const Colour colour = place == 0 && picture.recognised ? kAccent : kFaintInk;
  const std::string numbers =
      fmt::format("{} of {} hits agree \u00b7 from {}",
                  countText(static_cast<std::uint64_t>(candidate.agreeing)),
                  countText(candidate.hits.size()), clockTime(picture.from + candidate.offset));
  setColour(cairo, colour);
  const double right = kLeftMargin + kScatterWidth + kLeftMargin + kHistogramWidth;
  drawText(cairo, numbers, right, top + 7, kTextSize, TextAnchor::kRight);
  drawText(cairo,  // In front of a name from right to left, too.
           fmt::format("\u200E{}. {}", place + 1, printable(candidate.name)), kLeftMargin, top + 7,
           kTextSize, TextAnchor::kLeft,
           right - kLeftMargin - textWidth(cairo, numbers, kTextSize) - 16);
  drawScatter(cairo, picture, candidate, top + kPanelHead, colour);
  drawHistogram(cairo, candidate, top + kPanelHead, colour);
}

}  // namespace

bool agrees(const MatchHit& hit, const CandidateHits& candidate) noexcept {
  return std::fabs(hit.reference - hit.query - candidate.offset) < kTolerance;
}

std::vector<unsigned char> drawMatch(const MatchPicture& picture, PictureFormat format) {
  const double row = kPanelHead + kPanelHeight + kTimeAxisHeight + kPanelGap;
  const double content = kScatterWidth + kLeftMargin + kHistogramWidth;
  Page page(format, kLeftMargin + content + kRightMargin,
            kHeadingHeight + static_cast<double>(picture.candidates.size()) * row - kPanelGap,
            kPixelsPerPoint, printable(picture.title));
  drawHeading(page.cairo(), picture.title, picture.subtitle, kLeftMargin, content);
  for (std::size_t place = 0; place < picture.candidates.size(); ++place) {
    drawCandidate(page.cairo(), picture, place, kHeadingHeight + static_cast<double>(place) * row);
  }
  return page.finish();
}

}  // namespace audiomatch
