#pragma once

#include "knanim/pictures/Canvas.h"

#include <span>

namespace knanim {

/// A corner in logical pixels of a canvas, and how far away it is, above 0.
struct DeepPoint {
  Point at;
  double depth = 1;
};

/// Faces that hide each other where they are nearer, pixel by pixel (a depth buffer, Catmull 1974). Each pixel is the mean
/// of several samples, so that edges are smooth; where there is no face, it lets through what is below.
class DepthLayer {
 public:
  /// Covers the pixels of a picture of points that `box` touches.
  explicit DepthLayer(Box const& box);

  /// A plane face of any shape; fewer than three corners, or all in one line, show nothing.
  void addFace(std::span<DeepPoint const> corners, Color color);
  /// A line as wide as `width` everywhere.
  void addLine(DeepPoint from, DeepPoint to, double width, Color color);
  void addDisc(DeepPoint center, double radius, Color color);

  /// Draws the layer onto a picture of points. Takes memory for a band of rows at a time.
  void draw(Canvas& canvas) const;

 private:
  /// Nearness, which is 1 / depth, is x * stepX + y * stepY + start, within low and high. All in samples.
  struct Face {
    std::size_t first = 0;
    std::size_t count = 0;
    double stepX = 0;
    double stepY = 0;
    double start = 0;
    double low = 0;
    double high = 0;
    double top = 0;
    double bottom = 0;
    std::uint32_t color = 0;
  };
  struct Band;

  void fill(Face const& face, Band& band) const;

  std::size_t _left;
  std::size_t _top;
  std::size_t _width;
  std::size_t _height;
  std::vector<Point> _corners;
  std::vector<Face> _faces;
};

}  // namespace knanim
