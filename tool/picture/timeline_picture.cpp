#include "tool/picture/timeline_picture.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "tool/output/display_text.h"
#include "tool/picture/labels.h"
#include "tool/picture/lettering.h"
#include "tool/picture/plot_area.h"

namespace audiomatch {
namespace {

// Points.
constexpr double kNameWidth = 132.0;
constexpr double kPlotWidth = 394.0;
constexpr double kTotalWidth = 46.0;
constexpr double kMargin = 14.0;
constexpr double kRowHeight = 16.0;
constexpr double kBarHeight = 11.0;
constexpr double kLeastBarWidth = 0.8;
constexpr double kCurveGap = 16.0;
constexpr double kCurveHeight = 84.0;
constexpr double kPixelsPerPoint = 3.0;
constexpr double kPlotLeft = kMargin + kNameWidth;

constexpr std::size_t kMostNames = 30;
constexpr double kLeastSeconds = 0.1;
constexpr Colour kUnknownColour = {0.58, 0.59, 0.64};
constexpr Colour kSilenceColour = {0.86, 0.86, 0.89};
constexpr Colour kThresholdColour = {0.88, 0.32, 0.06};

/// One line of the upper plot.
struct Row {
  std::string label;
  std::vector<const TimelineSpan*> spans;
  double seconds = 0.0;
  bool is_name = true;

  void add(const TimelineSpan& span) {
    spans.push_back(&span);
    seconds += span.to - span.from;
  }
};

/// Joins the rows of the names that were heard the least into one.
void joinLast(std::vector<Row>& rows) {
  if (rows.size() <= kMostNames) return;
  Row others{fmt::format("{} others", rows.size() - kMostNames + 1), {}};
  for (std::size_t i = kMostNames - 1; i < rows.size(); ++i) {
    for (const TimelineSpan* span : rows[i].spans) others.add(*span);
  }
  rows.resize(kMostNames - 1);
  rows.push_back(std::move(others));
}

std::vector<Row> rowsOf(const std::vector<TimelineSpan>& spans) {
  std::map<std::string, Row> by_name;
  Row unknown{"unknown sound", {}, 0.0, false};
  Row silence{"silence", {}, 0.0, false};
  for (const TimelineSpan& span : spans) {
    switch (span.kind) {
      case TimelineSpan::Kind::kRecognised:
        by_name[span.name].add(span);
        break;
      case TimelineSpan::Kind::kUnknown:
        unknown.add(span);
        break;
      case TimelineSpan::Kind::kSilence:
        silence.add(span);
    }
  }
  std::vector<Row> rows;
  for (auto& [name, row] : by_name) {
    row.label = printable(name);
    rows.push_back(std::move(row));
  }
  std::ranges::stable_sort(rows, [](const Row& a, const Row& b) { return a.seconds > b.seconds; });
  joinLast(rows);
  if (!unknown.spans.empty()) rows.push_back(std::move(unknown));
  if (!silence.spans.empty()) rows.push_back(std::move(silence));
  return rows;
}

/// Lighter towards the threshold, full at thirty times as many.
Colour colourOf(const TimelineSpan& span, int threshold) {
  if (span.kind == TimelineSpan::Kind::kUnknown) return kUnknownColour;
  if (span.kind == TimelineSpan::Kind::kSilence) return kSilenceColour;
  const double above = std::log(std::max(span.agreeing, 1) / std::max<double>(threshold, 1));
  const double part = std::clamp(0.4 + 0.6 * above / std::log(30.0), 0.4, 1.0);
  return {std::lerp(1.0, kAccent.red, part), std::lerp(1.0, kAccent.green, part),
          std::lerp(1.0, kAccent.blue, part)};
}

void drawSpan(cairo_t* cairo, const PlotArea& area, const TimelineSpan& span, double middle,
              int threshold) {
  setColour(cairo, colourOf(span, threshold));
  const double left = area.x(span.from);
  // A gap between neighbours, as far as there is room.
  const double width = std::max(area.x(span.to) - left - 0.6, kLeastBarWidth);
  cairo_rectangle(cairo, left, middle - kBarHeight / 2, width, kBarHeight);
  cairo_fill(cairo);
}

void drawRow(cairo_t* cairo, const PlotArea& area, const Row& row, std::size_t place,
             int threshold) {
  const double middle = area.top + (static_cast<double>(place) + 0.5) * kRowHeight;
  if (place > 0) {
    setColour(cairo, kGridInk);
    strokeLine(cairo, kMargin, middle - kRowHeight / 2, area.right() + kTotalWidth,
               middle - kRowHeight / 2, 0.4);
  }
  setColour(cairo, row.is_name ? kInk : kFaintInk);
  drawText(cairo, row.label, kMargin, middle, kLabelSize, TextAnchor::kLeft, kNameWidth - 8);
  drawText(cairo, TimeLabels{0, true, row.seconds >= 3600, 0}.label(row.seconds),
           area.right() + kTotalWidth, middle, kLabelSize, TextAnchor::kRight);
  const Clip clip(cairo, area);
  for (const TimelineSpan* span : row.spans) drawSpan(cairo, area, *span, middle, threshold);
}

void drawRows(cairo_t* cairo, const PlotArea& area, const std::vector<Row>& rows, int threshold) {
  setColour(cairo, kFaintInk);
  drawText(cairo, "the darker the surer", area.left, area.top - 8, kLabelSize, TextAnchor::kLeft);
  drawText(cairo, "heard", area.right() + kTotalWidth, area.top - 8, kLabelSize,
           TextAnchor::kRight);
  drawTimeGrid(cairo, area);
  for (std::size_t place = 0; place < rows.size(); ++place) {
    drawRow(cairo, area, rows[place], place, threshold);
  }
  drawFrame(cairo, area);
}

/// Ten, a hundred, ... along the left edge of a logarithmic plot.
void drawPowers(cairo_t* cairo, const PlotArea& area) {
  for (double power = 0; power <= area.up.to; ++power) {
    const double y = area.y(power);
    setColour(cairo, kInk);
    strokeLine(cairo, area.left - 3.5, y, area.left, y, 0.6);
    drawText(cairo, fmt::format("{:.0f}", std::pow(10.0, power)), area.left - 6.5, y, kLabelSize,
             TextAnchor::kRight);
    if (power > 0) {
      setColour(cairo, kGridInk);
      strokeLine(cairo, area.left, y, area.right(), y, 0.4);
    }
  }
}

void drawThreshold(cairo_t* cairo, const PlotArea& area, int threshold) {
  const double y = area.y(std::log10(std::max(threshold, 1)));
  const double dashes[] = {3.0, 2.0};
  setColour(cairo, kThresholdColour);
  cairo_set_dash(cairo, dashes, 2, 0);
  strokeLine(cairo, area.left, y, area.right(), y, 1.0);
  cairo_set_dash(cairo, nullptr, 0, 0);
  drawText(cairo, fmt::format("\u2265 {}", threshold), area.right() + 5, y, kLabelSize,
           TextAnchor::kLeft);
}

/// Fills the windows in which something is recognised, or the others, as one shape:
/// without seams, and where windows overlap the higher counts.
void fillWindows(cairo_t* cairo, const PlotArea& area, const TimelinePicture& picture,
                 bool recognised) {
  for (const TimelineWindow& window : picture.windows) {
    if (window.recognised != recognised) continue;
    const double y = area.y(std::log10(std::max(window.agreeing, 1)));
    cairo_rectangle(cairo, area.x(window.from), y, area.x(window.to) - area.x(window.from),
                    area.bottom() - y);
  }
  setColour(cairo, recognised ? kAccent : kUnknownColour);
  cairo_fill(cairo);
}

/// Agreeing features over time, on a logarithmic scale on which none is one.
void drawCurve(cairo_t* cairo, const PlotArea& area, const TimelinePicture& picture) {
  drawTimeGrid(cairo, area);
  drawPowers(cairo, area);
  {
    const Clip clip(cairo, area);
    fillWindows(cairo, area, picture, false);
    fillWindows(cairo, area, picture, true);
  }
  drawThreshold(cairo, area, picture.threshold);
  drawFrame(cairo, area);
  setColour(cairo, kInk);
  drawText(cairo, "agreeing features", kMargin, area.top + area.height / 2, kLabelSize,
           TextAnchor::kLeft);
}

double mostAgreeing(const TimelinePicture& picture) {
  int most = std::max(picture.threshold, 50);
  for (const TimelineWindow& window : picture.windows) most = std::max(most, window.agreeing);
  return most;
}

}  // namespace

std::vector<unsigned char> drawTimeline(const TimelinePicture& picture, PictureFormat format) {
  const std::vector<Row> rows = rowsOf(picture.spans);
  const Range time{picture.from, std::max(picture.to, picture.from + kLeastSeconds)};
  const PlotArea upper{
      kPlotLeft,  kHeadingHeight + 6,
      kPlotWidth, kRowHeight * static_cast<double>(std::max(rows.size(), std::size_t{1})),
      time,       {0, 1}};
  PlotArea last = upper;
  if (!picture.windows.empty()) {
    last.top = upper.bottom() + kCurveGap;
    last.height = kCurveHeight;
    last.up = {0.0, std::log10(1.3 * mostAgreeing(picture))};
  }
  Page page(format, upper.right() + kTotalWidth + kMargin, last.bottom() + kTimeAxisHeight,
            kPixelsPerPoint, printable(picture.title));
  drawHeading(page.cairo(), picture.title, picture.subtitle, kMargin,
              kNameWidth + kPlotWidth + kTotalWidth);
  drawRows(page.cairo(), upper, rows, picture.threshold);
  if (!picture.windows.empty()) drawCurve(page.cairo(), last, picture);
  drawTimeAxis(page.cairo(), last, "time");
  return page.finish();
}

}  // namespace audiomatch
