#include "tool/picture/page.h"

#include <cairo-pdf.h>
#include <cairo-svg.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <stdexcept>
#include <utility>

namespace audiomatch {
namespace {

void check(cairo_status_t status) {
  if (status == CAIRO_STATUS_NO_MEMORY) throw std::bad_alloc();
  if (status != CAIRO_STATUS_SUCCESS) throw std::runtime_error(cairo_status_to_string(status));
}

/// Called by cairo, through which no exception may go.
cairo_status_t append(void* bytes, const unsigned char* data, unsigned size) noexcept {
  try {
    auto* out = static_cast<std::vector<unsigned char>*>(bytes);
    out->insert(out->end(), data, data + size);
    return CAIRO_STATUS_SUCCESS;
  } catch (const std::exception&) {
    return CAIRO_STATUS_NO_MEMORY;
  }
}

cairo_surface_t* createSurface(PictureFormat format, double width, double height,
                               double pixelsPerPoint, std::vector<unsigned char>& bytes) {
  switch (format) {
    case PictureFormat::kSvg:
      return cairo_svg_surface_create_for_stream(append, &bytes, width, height);
    case PictureFormat::kPdf:
      return cairo_pdf_surface_create_for_stream(append, &bytes, width, height);
    default:
      break;
  }
  const auto pixels = [&](double points) {
    return static_cast<int>(std::ceil(points * pixelsPerPoint));
  };
  cairo_surface_t* image =
      cairo_image_surface_create(CAIRO_FORMAT_RGB24, pixels(width), pixels(height));
  cairo_surface_set_device_scale(image, pixelsPerPoint, pixelsPerPoint);
  return image;
}

}  // namespace

Page::Page(PictureFormat format, double width, double height, double pixelsPerPoint,
           const std::string& title)
    : format_(format), surface_(createSurface(format, width, height, pixelsPerPoint, bytes_)) {
  check(cairo_surface_status(surface_.get()));
  if (format == PictureFormat::kPdf) {
    cairo_pdf_surface_set_metadata(surface_.get(), CAIRO_PDF_METADATA_TITLE, title.c_str());
  }
  cairo_.reset(cairo_create(surface_.get()));
  setColour(cairo(), {1, 1, 1});
  cairo_paint(cairo());
}

std::vector<unsigned char> Page::finish() {
  check(cairo_status(cairo()));
  cairo_.reset();
  if (format_ == PictureFormat::kPng) {
    check(cairo_surface_write_to_png_stream(surface_.get(), append, &bytes_));
  }
  cairo_surface_finish(surface_.get());
  check(cairo_surface_status(surface_.get()));
  return std::move(bytes_);
}

void setColour(cairo_t* cairo, const Colour& colour, double opacity) {
  cairo_set_source_rgba(cairo, colour.red, colour.green, colour.blue, opacity);
}

void strokeLine(cairo_t* cairo, double x1, double y1, double x2, double y2, double width) {
  cairo_surface_t* page = cairo_get_target(cairo);
  if (cairo_surface_get_type(page) == CAIRO_SURFACE_TYPE_IMAGE) {
    double pixels = 1.0;
    cairo_surface_get_device_scale(page, &pixels, &pixels);
    const double whole = std::max(std::round(width * pixels), 1.0);
    const double middle = std::fmod(whole, 2.0) / 2;
    width = whole / pixels;
    for (double* place : {&x1, &y1, &x2, &y2}) {
      *place = (std::floor(*place * pixels + 1e-6) + middle) / pixels;
    }
  }
  cairo_set_line_width(cairo, width);
  cairo_set_line_cap(cairo, CAIRO_LINE_CAP_SQUARE);
  cairo_move_to(cairo, x1, y1);
  cairo_line_to(cairo, x2, y2);
  cairo_stroke(cairo);
  cairo_set_line_cap(cairo, CAIRO_LINE_CAP_BUTT);
}

}  // namespace audiomatch
