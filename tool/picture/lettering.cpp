#include "tool/picture/lettering.h"

#include <pango/pangocairo.h>

#include <cmath>
#include <memory>

#include "tool/output/display_text.h"
#include "tool/picture/page.h"

namespace audiomatch {
namespace {

struct Unreference {
  void operator()(PangoLayout* layout) const noexcept { g_object_unref(layout); }
  void operator()(PangoFontDescription* font) const noexcept { pango_font_description_free(font); }
};
using Layout = std::unique_ptr<PangoLayout, Unreference>;

Layout layOut(cairo_t* cairo, const std::string& text, double size) {
  Layout layout(pango_cairo_create_layout(cairo));
  // As wide in every format: no rounding to pixels.
  const std::unique_ptr<cairo_font_options_t, decltype(&cairo_font_options_destroy)> options(
      cairo_font_options_create(), cairo_font_options_destroy);
  cairo_font_options_set_hint_style(options.get(), CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options.get(), CAIRO_HINT_METRICS_OFF);
  cairo_font_options_set_antialias(options.get(), CAIRO_ANTIALIAS_GRAY);
  PangoContext* context = pango_layout_get_context(layout.get());
  pango_cairo_context_set_font_options(context, options.get());
  pango_context_set_round_glyph_positions(context, FALSE);

  const std::unique_ptr<PangoFontDescription, Unreference> font(pango_font_description_new());
  pango_font_description_set_family(font.get(), "DejaVu Sans, sans-serif");
  pango_font_description_set_absolute_size(font.get(), size * PANGO_SCALE);
  pango_layout_set_font_description(layout.get(), font.get());
  pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
  // A name in Arabic starts at the left like the others.
  pango_layout_set_auto_dir(layout.get(), FALSE);
  pango_layout_set_text(layout.get(), text.data(), static_cast<int>(text.size()));
  return layout;
}

double widthOf(PangoLayout* layout) {
  PangoRectangle extents;
  pango_layout_get_extents(layout, nullptr, &extents);
  return static_cast<double>(extents.width) / PANGO_SCALE;
}

}  // namespace

void drawText(cairo_t* cairo, const std::string& text, double x, double y, double size,
              TextAnchor anchor, double mostWidth) {
  const Layout layout = layOut(cairo, text, size);
  if (mostWidth > 0.0 && widthOf(layout.get()) > mostWidth) {
    pango_layout_set_width(layout.get(), static_cast<int>(mostWidth * PANGO_SCALE));
    pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_MIDDLE);
  }
  if (anchor == TextAnchor::kCentre) x -= widthOf(layout.get()) / 2;
  if (anchor == TextAnchor::kRight) x -= widthOf(layout.get());
  // Half the height of a capital above the baseline, so that fonts of other
  // scripts in a line move none of it.
  const double baseline =
      static_cast<double>(pango_layout_get_baseline(layout.get())) / PANGO_SCALE;
  cairo_move_to(cairo, x, y + 0.36 * size - baseline);
  pango_cairo_show_layout(cairo, layout.get());
}

double textWidth(cairo_t* cairo, const std::string& text, double size) {
  return widthOf(layOut(cairo, text, size).get());
}

void drawUprightText(cairo_t* cairo, const std::string& text, double x, double y, double size) {
  cairo_save(cairo);
  cairo_translate(cairo, x, y);
  cairo_rotate(cairo, -M_PI / 2);
  drawText(cairo, text, 0, 0, size, TextAnchor::kCentre);
  cairo_restore(cairo);
}

void drawHeading(cairo_t* cairo, const std::string& title, const std::string& subtitle, double left,
                 double width) {
  setColour(cairo, kInk);
  drawText(cairo, printable(title), left, 20, kTitleSize, TextAnchor::kLeft, width);
  setColour(cairo, kFaintInk);
  drawText(cairo, printable(subtitle), left, 39, kTextSize, TextAnchor::kLeft, width);
}

}  // namespace audiomatch
