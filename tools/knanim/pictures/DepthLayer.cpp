#include "knanim/pictures/DepthLayer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace knanim {
namespace {

constexpr std::size_t kSamples = 3;  ///< of a pixel, either way
constexpr std::size_t kSamplesOfBand = 1'000'000;

std::size_t firstPixel(double place) {
  return static_cast<std::size_t>(std::max(0.0, std::floor(place * Canvas::kPixelScale)));
}

std::size_t pixelsUpTo(double place, std::size_t first) {
  return static_cast<std::size_t>(
      std::max(0.0, std::ceil(place * Canvas::kPixelScale) - static_cast<double>(first)));
}

std::uint32_t packed(Color const& color) {
  auto const byte = [](double part) {
    return static_cast<std::uint32_t>(std::lround(std::clamp(part, 0.0, 1.0) * 255));
  };
  return byte(color.red) << 16U | byte(color.green) << 8U | byte(color.blue);
}

/// The first sample whose middle is at or after a place, within `count`.
std::size_t sampleFrom(double place, std::size_t count) {
  return static_cast<std::size_t>(std::clamp(std::ceil(place - 0.5), 0.0, static_cast<double>(count)));
}

}  // namespace

/// Samples of some rows of pixels.
struct DepthLayer::Band {
  std::size_t firstRow = 0;  ///< of samples
  std::size_t rows = 0;
  std::size_t width = 0;
  std::vector<float> nearness;  ///< 0 where nothing is
  std::vector<std::uint32_t> colors;

  /// A pixel as the mean of its samples, premultiplied.
  std::uint32_t pixel(std::size_t column, std::size_t row) const {
    std::array<std::uint32_t, 4> sums{};
    for (std::size_t i = 0; i < kSamples * kSamples; ++i) {
      std::size_t const at = (row * kSamples + i / kSamples) * width + column * kSamples + i % kSamples;
      if (!(nearness[at] > 0)) continue;
      for (unsigned k = 0; k < 3; ++k) sums[k] += colors[at] >> (8 * k) & 0xFFU;
      sums[3] += 255;
    }
    std::uint32_t result = 0;
    constexpr std::uint32_t kAll = kSamples * kSamples;
    for (unsigned k = 0; k < 4; ++k) result |= (sums[k] + kAll / 2) / kAll << (8 * k);
    return result;
  }
};

DepthLayer::DepthLayer(Box const& box)
    : _left(firstPixel(box.left)),
      _top(firstPixel(box.top)),
      _width(pixelsUpTo(box.right, _left)),
      _height(pixelsUpTo(box.bottom, _top)) {}

/// The plane is that of the face's area vector (Newell), which also suits corners that are not quite in one plane.
void DepthLayer::addFace(std::span<DeepPoint const> corners, Color color) {
  constexpr double kScale = Canvas::kPixelScale * kSamples;
  Face face;
  face.first = _corners.size();
  face.count = corners.size();
  face.color = packed(color);
  face.low = face.top = INFINITY;
  face.high = face.bottom = -INFINITY;
  std::array<double, 3> normal{};
  std::array<double, 3> middle{};
  auto const place = [&](DeepPoint const& corner) {
    return std::array<double, 3>{corner.at.x * kScale - static_cast<double>(_left * kSamples),
                                 corner.at.y * kScale - static_cast<double>(_top * kSamples),
                                 1 / corner.depth};
  };
  for (std::size_t i = 0; i < corners.size(); ++i) {
    std::array<double, 3> const a = place(corners[i]);
    std::array<double, 3> const b = place(corners[(i + 1) % corners.size()]);
    for (std::size_t k = 0; k < 3; ++k) {
      std::size_t const next = (k + 1) % 3;
      std::size_t const last = (k + 2) % 3;
      normal[k] += (a[next] - b[next]) * (a[last] + b[last]);
      middle[k] += a[k] / static_cast<double>(corners.size());
    }
    face.low = std::min(face.low, a[2]);
    face.high = std::max(face.high, a[2]);
    face.top = std::min(face.top, a[1]);
    face.bottom = std::max(face.bottom, a[1]);
    _corners.push_back({a[0], a[1]});
  }
  if (corners.size() < 3 || !(std::abs(normal[2]) > 1e-9)) {
    _corners.resize(face.first);
    return;
  }
  face.stepX = -normal[0] / normal[2];
  face.stepY = -normal[1] / normal[2];
  face.start = middle[2] - face.stepX * middle[0] - face.stepY * middle[1];
  _faces.push_back(face);
}

void DepthLayer::addLine(DeepPoint from, DeepPoint to, double width, Color color) {
  double const x = to.at.x - from.at.x;
  double const y = to.at.y - from.at.y;
  double const length = std::hypot(x, y);
  if (!(length > 0)) return;
  double const share = width / 2 / length;
  Point const across{-y * share, x * share};
  Point const beyond{x * share / 2, y * share / 2};
  std::array<DeepPoint, 4> const corners = {
      {{{from.at.x - beyond.x + across.x, from.at.y - beyond.y + across.y}, from.depth},
       {{from.at.x - beyond.x - across.x, from.at.y - beyond.y - across.y}, from.depth},
       {{to.at.x + beyond.x - across.x, to.at.y + beyond.y - across.y}, to.depth},
       {{to.at.x + beyond.x + across.x, to.at.y + beyond.y + across.y}, to.depth}}};
  addFace(corners, color);
}

void DepthLayer::addDisc(DeepPoint center, double radius, Color color) {
  constexpr std::size_t kCorners = 12;
  std::array<DeepPoint, kCorners> corners;
  for (std::size_t i = 0; i < kCorners; ++i) {
    double const angle = 2 * std::numbers::pi * static_cast<double>(i) / kCorners;
    corners[i] = {{center.at.x + radius * std::cos(angle), center.at.y + radius * std::sin(angle)},
                  center.depth};
  }
  addFace(corners, color);
}

void DepthLayer::fill(Face const& face, Band& band) const {
  std::size_t const begin = std::max(sampleFrom(face.top, _height * kSamples), band.firstRow);
  std::size_t const end = std::min(sampleFrom(face.bottom, _height * kSamples), band.firstRow + band.rows);
  Point const* const corners = _corners.data() + face.first;
  std::vector<double> crossings;
  for (std::size_t row = begin; row < end; ++row) {
    double const y = static_cast<double>(row) + 0.5;
    crossings.clear();
    for (std::size_t i = 0; i < face.count; ++i) {
      Point const& a = corners[i];
      Point const& b = corners[(i + 1) % face.count];
      if ((a.y <= y) != (b.y <= y)) crossings.push_back(a.x + (b.x - a.x) * (y - a.y) / (b.y - a.y));
    }
    std::sort(crossings.begin(), crossings.end());
    for (std::size_t i = 0; i + 1 < crossings.size(); i += 2) {
      std::size_t const last = sampleFrom(crossings[i + 1], band.width);
      for (std::size_t column = sampleFrom(crossings[i], band.width); column < last; ++column) {
        double const plane = face.start + face.stepX * (static_cast<double>(column) + 0.5) + face.stepY * y;
        auto const nearness = static_cast<float>(std::clamp(plane, face.low, face.high));
        std::size_t const at = (row - band.firstRow) * band.width + column;
        if (!(nearness > band.nearness[at])) continue;
        band.nearness[at] = nearness;
        band.colors[at] = face.color;
      }
    }
  }
}

void DepthLayer::draw(Canvas& canvas) const {
  if (_width == 0 || _height == 0 || _faces.empty()) return;
  std::vector<std::uint32_t> pixels(_width * _height);
  Band band;
  band.width = _width * kSamples;
  std::size_t const rowsOfBand = std::max<std::size_t>(1, kSamplesOfBand / (band.width * kSamples));
  for (std::size_t top = 0; top < _height; top += rowsOfBand) {
    std::size_t const rows = std::min(rowsOfBand, _height - top);
    band.firstRow = top * kSamples;
    band.rows = rows * kSamples;
    band.nearness.assign(band.width * band.rows, 0);
    band.colors.assign(band.width * band.rows, 0);
    for (Face const& face : _faces) fill(face, band);
    for (std::size_t row = 0; row < rows; ++row) {
      for (std::size_t column = 0; column < _width; ++column)
        pixels[(top + row) * _width + column] = band.pixel(column, row);
    }
  }
  double const scale = Canvas::kPixelScale;
  auto const logical = [scale](std::size_t pixel) { return static_cast<double>(pixel) / scale; };
  canvas.drawLayer(pixels, _width,
                   {logical(_left), logical(_top), logical(_left + _width), logical(_top + _height)});
}

}  // namespace knanim
