#pragma once

#include <cairo.h>
#include <cstdint>
#include <string>
#include <vector>

namespace knanim {

struct Color {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;

  /// From 0xRRGGBB.
  static constexpr Color fromHex(std::uint32_t hex, double alpha = 1) {
    return {static_cast<double>(hex >> 16U & 0xFFU) / 255, static_cast<double>(hex >> 8U & 0xFFU) / 255,
            static_cast<double>(hex & 0xFFU) / 255, alpha};
  }
};

struct Point {
  double x = 0;
  double y = 0;
};

struct Box {
  double left = 0;
  double top = 0;
  double right = 0;
  double bottom = 0;

  double width() const { return right - left; }
  double height() const { return bottom - top; }
};

struct TextStyle {
  double size = 12;
  bool bold = false;
};

enum class Align : std::uint8_t { Left, Center, Right };
enum class PictureFormat : std::uint8_t { Png, Svg };

/// A drawing surface in logical pixels, y downwards, on white. A picture of points has twice as many pixels as
/// logical ones either way.
class Canvas {
 public:
  static constexpr double kPixelScale = 2;

  Canvas(PictureFormat format, double width, double height);
  ~Canvas();
  Canvas(Canvas const&) = delete;
  Canvas& operator=(Canvas const&) = delete;

  double textWidth(std::string const& text, TextStyle style);
  /// `text` cut in the middle until it is no wider than `width`.
  std::string fitted(std::string const& text, TextStyle style, double width);
  /// `at` is on the base line.
  void drawText(std::string const& text, Point at, TextStyle style, Color color, Align align = Align::Left);
  void drawLine(Point from, Point to, double width, Color color);
  /// Lines through all points; a point that is not finite parts them.
  void drawPolyline(std::vector<Point> const& points, double width, Color color);
  void fillBox(Box const& box, Color color);
  /// A closed area with a line around it; no line when `lineWidth` is 0. All points are finite.
  void fillPolygon(std::vector<Point> const& points, Color fill, double lineWidth = 0, Color line = {});
  /// A line with round ends. Both points are finite.
  void drawRod(Point from, Point to, double width, Color color);
  void fillDisc(Point center, double radius, Color color);
  /// Dots with a white rim.
  void drawDots(std::vector<Point> const& centers, double radius, Color color);
  /// Multiplies the light within the box: 0 makes it black, above 1 it becomes brighter as far as it can.
  void expose(Box const& box, double factor);
  /// The pixels of a picture of points as 0xRRGGBB, in rows from the top.
  std::vector<std::uint32_t> pixels() const;
  std::size_t pixelWidth() const { return static_cast<std::size_t>(cairo_image_surface_get_width(_surface)); }
  /// Draws such pixels, `width` in a row, into a box.
  void drawPixels(std::vector<std::uint32_t> const& pixels, std::size_t width, Box const& box) {
    drawImage(pixels, width, box, CAIRO_FORMAT_RGB24);
  }
  /// The same with pixels as 0xAARRGGBB, the colours multiplied by the opacity.
  void drawLayer(std::vector<std::uint32_t> const& pixels, std::size_t width, Box const& box) {
    drawImage(pixels, width, box, CAIRO_FORMAT_ARGB32);
  }
  bool isOfPoints() const { return _format == PictureFormat::Png; }
  /// Keeps what is drawn until `unclip` within the box.
  void clip(Box const& box);
  void unclip();

  /// Ends the drawing. False when something failed; `message` says what. Nothing can be drawn after that.
  bool finish(std::string& bytes, std::string& message);

 private:
  void drawImage(std::vector<std::uint32_t> const& pixels, std::size_t width, Box const& box,
                 cairo_format_t format);
  void setStyle(TextStyle style);
  void setColor(Color color);

  PictureFormat _format;
  std::string _bytes;
  cairo_surface_t* _surface;
  cairo_t* _cairo;
};

}  // namespace knanim
