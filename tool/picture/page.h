#pragma once

#include <cairo.h>

#include <memory>
#include <string>
#include <vector>

namespace audiomatch {

/// What a picture is written as.
enum class PictureFormat { kPng, kSvg, kPdf };

/// A page to draw on, in points of 1/72 inch whose origin is the upper left
/// corner. White at first.
///
/// No picture is wider than a sheet of A4, so lettering of the sizes below
/// stays readable in a report.
class Page {
 public:
  /// A page of a size in points, with a title for readers of PDF (UTF-8).
  /// Throws std::runtime_error.
  ///
  /// @param pixelsPerPoint  of a PNG
  Page(PictureFormat format, double width, double height, double pixelsPerPoint,
       const std::string& title);
  Page(const Page&) = delete;
  Page& operator=(const Page&) = delete;

  cairo_t* cairo() const noexcept { return cairo_.get(); }

  /// Ends the page and returns the picture's bytes. Throws std::runtime_error.
  /// Nothing can be drawn any more.
  std::vector<unsigned char> finish();

 private:
  struct Destroy {
    void operator()(cairo_surface_t* surface) const noexcept { cairo_surface_destroy(surface); }
    void operator()(cairo_t* cairo) const noexcept { cairo_destroy(cairo); }
  };

  PictureFormat format_;
  std::vector<unsigned char> bytes_;  // outlives the surface that writes into it
  std::unique_ptr<cairo_surface_t, Destroy> surface_;
  std::unique_ptr<cairo_t, Destroy> cairo_;
};

/// A colour, each part from 0 to 1.
struct Colour {
  double red;
  double green;
  double blue;
};

inline constexpr Colour kInk = {0.13, 0.14, 0.18};
inline constexpr Colour kFaintInk = {0.38, 0.39, 0.44};
inline constexpr Colour kGridInk = {0.88, 0.88, 0.90};
inline constexpr Colour kAccent = {0.00, 0.45, 0.55};    ///< what was recognised
inline constexpr Colour kBackdrop = {0.70, 0.71, 0.75};  ///< what wasn't

/// Sets the colour of what is drawn next.
void setColour(cairo_t* cairo, const Colour& colour, double opacity = 1.0);

/// A level or upright line, on whole pixels of a PNG.
void strokeLine(cairo_t* cairo, double x1, double y1, double x2, double y2, double width);

}  // namespace audiomatch
