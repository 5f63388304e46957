#pragma once

#include <cairo.h>

#include <string>

namespace audiomatch {

/// What one axis of a plot shows, from its lower or left end.
struct Range {
  double from;
  double to;

  double length() const noexcept { return to - from; }
};

/// Where a plot stands on the page, and what its axes show.
struct PlotArea {
  double left;
  double top;
  double width;
  double height;
  Range across;
  Range up;

  double right() const noexcept { return left + width; }
  double bottom() const noexcept { return top + height; }
  double x(double value) const noexcept {
    return left + width * (value - across.from) / across.length();
  }
  double y(double value) const noexcept {
    return bottom() - height * (value - up.from) / up.length();
  }
};

/// Draws a thin frame around a plot.
void drawFrame(cairo_t* cairo, const PlotArea& area);

/// Draws ticks and times below a plot: seconds, from a minute on m:ss, from an
/// hour on h:mm:ss. The axis's name says which.
///
/// @param name  what the time is of, such as "time"
void drawTimeAxis(cairo_t* cairo, const PlotArea& area, const std::string& name);

/// Draws a faint upright line at each of these times across a plot.
void drawTimeGrid(cairo_t* cairo, const PlotArea& area);

/// The axis to the left of a plot, upwards.
void drawUprightTimeAxis(cairo_t* cairo, const PlotArea& area, const std::string& name);

/// Draws ticks and numbers to the left of a plot, with its axis's name, and
/// none where they would come closer than is readable.
///
/// @param step  least distance of two labels; 0 for any
void drawValueAxis(cairo_t* cairo, const PlotArea& area, const std::string& name,
                   double step = 0.0);

/// Keeps what is drawn inside a plot until it goes.
class Clip {
 public:
  Clip(cairo_t* cairo, const PlotArea& area);
  Clip(const Clip&) = delete;
  Clip& operator=(const Clip&) = delete;
  ~Clip() { cairo_restore(cairo_); }

 private:
  cairo_t* cairo_;
};

/// Points between the left edge of a page and its plots, for labels and name.
inline constexpr double kLeftMargin = 50.0;
/// Points below a plot's lower edge that a time axis takes.
inline constexpr double kTimeAxisHeight = 38.0;

}  // namespace audiomatch
