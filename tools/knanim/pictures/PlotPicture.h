#pragma once

#include "knanim/import/ImportedModel.h"
#include "knanim/pictures/AxisTicks.h"
#include "knanim/pictures/Canvas.h"

#include <optional>
#include <string>
#include <vector>

namespace knanim {

struct PlotSeries {
  std::string label;
  Color color;
  std::vector<Key> samples;  ///< the line, ascending in time; a value that is not finite leaves a gap
  std::vector<Key> keys;     ///< the marks
};

struct PlotPanel {
  std::string title;
  std::string unit;
  AxisUnit axis = AxisUnit::Number;
  std::vector<PlotSeries> series;
};

/// A picture of curves over time: panels one below another, or in several columns, with one axis of time for all.
struct PlotPicture {
  std::string title;
  std::string subtitle;
  TimeSpan span;
  std::size_t columns = 1;
  /// Names every series at its end. Otherwise there is one legend for all panels, made from the first panel with
  /// the most series.
  bool labelsAtLines = true;
  std::vector<PlotPanel> panels;
};

/// The format that the ending of a file name asks for; empty when it is none that can be drawn.
std::optional<PictureFormat> pictureFormat(std::string const& path);

/// Draws a picture. False with a `message` when it cannot be drawn, as for want of memory.
bool drawPlot(PlotPicture const& picture, PictureFormat format, std::string& bytes, std::string& message);

/// Places for labels of one height along a line, in the order of `wanted`: as near to where they are wanted as
/// keeping `spacing` between them allows, and between `low` and `high`. When there is not enough room they are
/// spread evenly, closer than `spacing`.
std::vector<double> spreadLabels(std::vector<double> const& wanted, double spacing, double low, double high);

/// The points of a line as far as they can be seen: of those that fall into one column of `columnWidth` only the
/// first, the lowest, the highest and the last. Points ascend in x.
std::vector<Point> thinned(std::vector<Point> const& points, double columnWidth);

}  // namespace knanim
