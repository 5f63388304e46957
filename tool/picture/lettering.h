#pragma once

#include <cairo.h>

#include <string>

namespace audiomatch {

// Sizes of lettering in points. A picture as wide as A4 may be set into a
// column of 17 cm, where the small one has 7 points left.
inline constexpr double kTitleSize = 14.0;
inline constexpr double kTextSize = 9.5;
inline constexpr double kLabelSize = 8.7;

/// Where a text stands relative to its point.
enum class TextAnchor { kLeft, kCentre, kRight };

/// Draws one line of text in any script whose middle line goes through y.
/// Fonts that the script needs are found as far as they are installed. A text
/// wider than `mostWidth` points is shortened in its middle by an ellipsis; 0
/// is no limit.
void drawText(cairo_t* cairo, const std::string& text, double x, double y, double size,
              TextAnchor anchor, double mostWidth = 0.0);

/// The width of a text in points.
double textWidth(cairo_t* cairo, const std::string& text, double size);

/// Draws a text that reads upwards, its middle at the point.
void drawUprightText(cairo_t* cairo, const std::string& text, double x, double y, double size);

/// Draws title and subtitle at the head of a page, the title at most as wide
/// as what is below.
void drawHeading(cairo_t* cairo, const std::string& title, const std::string& subtitle, double left,
                 double width);

/// Points from a page's upper edge to what stands below its heading.
inline constexpr double kHeadingHeight = 56.0;

}  // namespace audiomatch
