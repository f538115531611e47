#include "knanim/pictures/Canvas.h"

#include "knanim/pictures/IndexedPng.h"
#include "knanim/support/Text.h"

#include <cairo-svg.h>
#include <cmath>
#include <cstring>
#include <numbers>
#include <optional>

namespace knanim {
namespace {

cairo_status_t append(void* bytes, unsigned char const* data, unsigned length) {
  static_cast<std::string*>(bytes)->append(reinterpret_cast<char const*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

cairo_surface_t* makeSurface(PictureFormat format, double width, double height, std::string& bytes) {
  if (format == PictureFormat::Png) {
    return cairo_image_surface_create(CAIRO_FORMAT_RGB24,
                                      static_cast<int>(std::ceil(width * Canvas::kPixelScale)),
                                      static_cast<int>(std::ceil(height * Canvas::kPixelScale)));
  }
  cairo_surface_t* const surface = cairo_svg_surface_create_for_stream(append, &bytes, width, height);
  cairo_svg_surface_set_document_unit(surface, CAIRO_SVG_UNIT_PX);
  return surface;
}

std::vector<std::uint32_t> pixelsOf(cairo_surface_t* surface) {
  cairo_surface_flush(surface);
  auto const width = static_cast<std::size_t>(cairo_image_surface_get_width(surface));
  auto const height = static_cast<std::size_t>(cairo_image_surface_get_height(surface));
  auto const stride = static_cast<std::size_t>(cairo_image_surface_get_stride(surface));
  unsigned char const* const data = cairo_image_surface_get_data(surface);
  std::vector<std::uint32_t> pixels(width * height);
  for (std::size_t row = 0; row < height; ++row)
    std::memcpy(pixels.data() + row * width, data + row * stride, width * sizeof(std::uint32_t));
  for (std::uint32_t& pixel : pixels) pixel &= 0xFFFFFFU;
  return pixels;
}

std::optional<std::string> encodeIndexed(cairo_surface_t* surface) {
  auto const width = static_cast<std::uint32_t>(cairo_image_surface_get_width(surface));
  return encodeIndexedPng(pixelsOf(surface), width);
}

}  // namespace

Canvas::Canvas(PictureFormat format, double width, double height)
    : _format(format), _surface(makeSurface(format, width, height, _bytes)), _cairo(cairo_create(_surface)) {
  if (format == PictureFormat::Png) cairo_scale(_cairo, kPixelScale, kPixelScale);
  cairo_set_line_join(_cairo, CAIRO_LINE_JOIN_ROUND);
  cairo_set_line_cap(_cairo, CAIRO_LINE_CAP_BUTT);
  cairo_font_options_t* const options = cairo_font_options_create();
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_set_font_options(_cairo, options);
  cairo_font_options_destroy(options);
  setColor({1, 1, 1});
  cairo_paint(_cairo);
}

Canvas::~Canvas() {
  cairo_destroy(_cairo);
  cairo_surface_destroy(_surface);
}

void Canvas::setStyle(TextStyle style) {
  cairo_select_font_face(_cairo, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                         style.bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_font_size(_cairo, style.size);
}

void Canvas::setColor(Color color) {
  cairo_set_source_rgba(_cairo, color.red, color.green, color.blue, color.alpha);
}

double Canvas::textWidth(std::string const& text, TextStyle style) {
  setStyle(style);
  cairo_text_extents_t extents;
  cairo_text_extents(_cairo, text.c_str(), &extents);
  return extents.x_advance;
}

std::string Canvas::fitted(std::string const& text, TextStyle style, double width) {
  if (textWidth(text, style) <= width) return text;
  std::size_t least = 1;
  std::size_t most = widthInColumns(text);
  while (most - least > 1) {
    std::size_t const middle = least + (most - least) / 2;
    (textWidth(shortened(text, middle), style) <= width ? least : most) = middle;
  }
  return shortened(text, least);
}

void Canvas::drawText(std::string const& text, Point at, TextStyle style, Color color, Align align) {
  double const width = align == Align::Left ? 0 : textWidth(text, style);
  setStyle(style);
  setColor(color);
  cairo_move_to(_cairo, at.x - (align == Align::Right ? width : width / 2), at.y);
  cairo_show_text(_cairo, text.c_str());
  cairo_new_path(_cairo);
}

void Canvas::drawLine(Point from, Point to, double width, Color color) {
  setColor(color);
  cairo_set_line_width(_cairo, width);
  cairo_move_to(_cairo, from.x, from.y);
  cairo_line_to(_cairo, to.x, to.y);
  cairo_stroke(_cairo);
}

void Canvas::drawPolyline(std::vector<Point> const& points, double width, Color color) {
  setColor(color);
  cairo_set_line_width(_cairo, width);
  for (Point const& point : points) {
    if (!std::isfinite(point.x) || !std::isfinite(point.y)) {
      cairo_new_sub_path(_cairo);
    } else {
      cairo_line_to(_cairo, point.x, point.y);
    }
  }
  cairo_stroke(_cairo);
}

void Canvas::fillBox(Box const& box, Color color) {
  setColor(color);
  cairo_rectangle(_cairo, box.left, box.top, box.width(), box.height());
  cairo_fill(_cairo);
}

void Canvas::fillPolygon(std::vector<Point> const& points, Color fill, double lineWidth, Color line) {
  for (Point const& point : points) cairo_line_to(_cairo, point.x, point.y);
  cairo_close_path(_cairo);
  setColor(fill);
  cairo_fill_preserve(_cairo);
  if (lineWidth > 0) {
    setColor(line);
    cairo_set_line_width(_cairo, lineWidth);
    cairo_stroke(_cairo);
  }
  cairo_new_path(_cairo);
}

void Canvas::drawRod(Point from, Point to, double width, Color color) {
  cairo_set_line_cap(_cairo, CAIRO_LINE_CAP_ROUND);
  drawLine(from, to, width, color);
  cairo_set_line_cap(_cairo, CAIRO_LINE_CAP_BUTT);
}

void Canvas::fillDisc(Point center, double radius, Color color) {
  setColor(color);
  cairo_arc(_cairo, center.x, center.y, radius, 0, 2 * std::numbers::pi);
  cairo_fill(_cairo);
}

void Canvas::drawDots(std::vector<Point> const& centers, double radius, Color color) {
  for (Point const& center : centers) {
    cairo_arc(_cairo, center.x, center.y, radius, 0, 2 * std::numbers::pi);
    setColor(color);
    cairo_fill_preserve(_cairo);
    setColor({1, 1, 1});
    cairo_set_line_width(_cairo, radius * 0.4);
    cairo_stroke(_cairo);
  }
}

/// Pictures hold light raised to the power of 1 / 2.2.
void Canvas::expose(Box const& box, double factor) {
  constexpr double kGamma = 2.2;
  if (factor == 1 || std::isnan(factor)) return;
  double const scale = std::pow(std::max(factor, 0.0), 1 / kGamma);
  if (scale < 1) {
    fillBox(box, {0, 0, 0, 1 - scale});
    return;
  }
  // Dodging divides by what is left of white.
  cairo_set_operator(_cairo, CAIRO_OPERATOR_COLOR_DODGE);
  double const gray = 1 - 1 / scale;
  fillBox(box, {gray, gray, gray});
  cairo_set_operator(_cairo, CAIRO_OPERATOR_OVER);
}

std::vector<std::uint32_t> Canvas::pixels() const { return pixelsOf(_surface); }

void Canvas::drawImage(std::vector<std::uint32_t> const& pixels, std::size_t width, Box const& box,
                       cairo_format_t format) {
  if (width == 0 || pixels.size() < width) return;
  std::size_t const height = pixels.size() / width;
  cairo_surface_t* const image =
      cairo_image_surface_create(format, static_cast<int>(width), static_cast<int>(height));
  if (cairo_surface_status(image) == CAIRO_STATUS_SUCCESS) {
    auto const stride = static_cast<std::size_t>(cairo_image_surface_get_stride(image));
    for (std::size_t row = 0; row < height; ++row) {
      std::memcpy(cairo_image_surface_get_data(image) + row * stride, pixels.data() + row * width,
                  width * sizeof(std::uint32_t));
    }
    cairo_surface_mark_dirty(image);
    cairo_save(_cairo);
    cairo_translate(_cairo, box.left, box.top);
    cairo_scale(_cairo, box.width() / static_cast<double>(width), box.height() / static_cast<double>(height));
    cairo_set_source_surface(_cairo, image, 0, 0);
    cairo_paint(_cairo);
    cairo_restore(_cairo);
  }
  cairo_surface_destroy(image);
}

void Canvas::clip(Box const& box) {
  cairo_save(_cairo);
  cairo_rectangle(_cairo, box.left, box.top, box.width(), box.height());
  cairo_clip(_cairo);
}

void Canvas::unclip() { cairo_restore(_cairo); }

bool Canvas::finish(std::string& bytes, std::string& message) {
  cairo_status_t status = cairo_status(_cairo);
  if (status == CAIRO_STATUS_SUCCESS && _format == PictureFormat::Png) {
    std::optional<std::string> small = encodeIndexed(_surface);
    if (small) {
      _bytes = std::move(*small);
    } else {
      status = cairo_surface_write_to_png_stream(_surface, append, &_bytes);
    }
  } else if (status == CAIRO_STATUS_SUCCESS) {
    cairo_surface_finish(_surface);
    status = cairo_surface_status(_surface);
  }
  if (status != CAIRO_STATUS_SUCCESS) {
    message = cairo_status_to_string(status);
    return false;
  }
  bytes = std::move(_bytes);
  return true;
}

}  // namespace knanim
