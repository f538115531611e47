#include "knanim/pictures/PlotPicture.h"

#include "knanim/support/Text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <numeric>

namespace knanim {
namespace {

constexpr double kWidth = 1040;
constexpr double kMargin = 28;
constexpr double kColumnGap = 30;
constexpr double kRowGap = 22;
constexpr double kPanelTitle = 24;
constexpr double kTimeAxis = 44;
constexpr int kMostTimeTicks = 13;
constexpr double kTimeLabelGap = 26;
constexpr double kLegendLine = 24;
constexpr double kLegendGap = 22;
constexpr double kLabelSpacing = 16;
constexpr double kLabelGap = 18;
constexpr double kWidestLabel = 210;
/// Dots nearer to each other than this would grow together; the keys are then marked below the panel.
constexpr double kNearestDots = 5;
constexpr double kRugHeight = 4;

constexpr TextStyle kTitleStyle{20, true};
constexpr TextStyle kSubtitleStyle{12.5, false};
constexpr TextStyle kPanelStyle{13, true};
constexpr TextStyle kTextStyle{11.5, false};
constexpr TextStyle kLabelStyle{12, false};

constexpr Color kInk = Color::fromHex(0x1F2733);
constexpr Color kSoft = Color::fromHex(0x5F6B7A);
constexpr Color kGrid = Color::fromHex(0xE8EBEF);
constexpr Color kZero = Color::fromHex(0xBFC6CF);
constexpr Color kRug = Color::fromHex(0xA9B3C0);

double panelHeight(std::size_t rows) { return rows == 1 ? 400 : rows == 2 ? 270 : rows == 3 ? 200 : 150; }

std::size_t usedColumns(PlotPicture const& picture) {
  return std::clamp<std::size_t>(picture.columns, 1, std::max<std::size_t>(1, picture.panels.size()));
}

/// The values that a panel shows.
AxisRange valueRange(PlotPanel const& panel, TimeSpan span) {
  double low = INFINITY;
  double high = -INFINITY;
  for (PlotSeries const& series : panel.series) {
    for (auto const* points : {&series.samples, &series.keys}) {
      for (Key const& point : *points) {
        if (!std::isfinite(point.value) || point.time < span.begin || point.time > span.end) continue;
        low = std::min(low, point.value);
        high = std::max(high, point.value);
      }
    }
  }
  return low <= high ? paddedRange(low, high, panel.axis) : paddedRange(0, 0, panel.axis);
}

/// One panel with its place on the canvas.
struct PlacedPanel {
  PlotPanel const* panel = nullptr;
  Box box;  ///< of the plot itself, without title and labels
  AxisRange values;
  AxisTicks ticks;
  bool hasTimeLabels = false;

  double y(double value) const {
    return box.bottom - (value - values.low) / (values.high - values.low) * box.height();
  }
};

class PlotPainter {
 public:
  PlotPainter(PlotPicture const& picture, Canvas& canvas) : _picture(picture), _canvas(canvas) {
    _span = picture.span;
    if (!(_span.end > _span.begin)) _span = {_span.begin - 0.5, _span.begin + 0.5};
  }

  /// Sets places from the sizes of the texts.
  void arrange(double top);
  void paint();

 private:
  std::size_t columns() const { return usedColumns(_picture); }
  double x(PlacedPanel const& placed, double time) const {
    return placed.box.left + (time - _span.begin) / (_span.end - _span.begin) * placed.box.width();
  }
  double widestLabel();
  void arrangeTime(double width);
  void drawHeader();
  std::string keyNote() const;
  bool hasRoomForDots(PlacedPanel const& placed, PlotSeries const& series) const;
  void drawLegend();
  void drawGrid(PlacedPanel const& placed);
  void drawTimeLabels(PlacedPanel const& placed);
  void drawSeries(PlacedPanel const& placed, PlotSeries const& series);
  void drawLineLabels(PlacedPanel const& placed);
  void drawKeys(PlacedPanel const& placed);
  std::vector<Point> place(PlacedPanel const& placed, std::vector<Key> const& points) const;

  PlotPicture const& _picture;
  Canvas& _canvas;
  TimeSpan _span;
  AxisTicks _timeTicks;
  std::vector<PlacedPanel> _panels;
};

double PlotPainter::widestLabel() {
  double widest = 0;
  for (PlotPanel const& panel : _picture.panels) {
    for (PlotSeries const& series : panel.series) {
      widest = std::max(widest, _canvas.textWidth(series.label, kLabelStyle));
    }
  }
  return std::min(widest, kWidestLabel);
}

void PlotPainter::arrange(double top) {
  std::size_t const rows = (_picture.panels.size() + columns() - 1) / columns();
  double const height = panelHeight(rows);
  double widestTick = 0;
  for (PlotPanel const& panel : _picture.panels) {
    PlacedPanel& placed = _panels.emplace_back();
    placed.panel = &panel;
    placed.values = valueRange(panel, _span);
    int const most = std::max(3, static_cast<int>(height / 38));
    placed.ticks = roundTicks(placed.values.low, placed.values.high, most, panel.axis);
    for (std::string const& label : placed.ticks.labels) {
      widestTick = std::max(widestTick, _canvas.textWidth(label, kTextStyle));
    }
  }
  double const right = _picture.labelsAtLines ? widestLabel() + kLabelGap : 0;
  auto const count = static_cast<double>(columns());
  double const column = (kWidth - 2 * kMargin - (count - 1) * kColumnGap) / count;
  for (std::size_t i = 0; i < _panels.size(); ++i) {
    std::size_t const rowsAbove = i / columns();
    auto const row = static_cast<double>(rowsAbove);
    double const left = kMargin + static_cast<double>(i % columns()) * (column + kColumnGap);
    double const panelTop = top + kPanelTitle + row * (height + kPanelTitle + kRowGap);
    _panels[i].box = {left + widestTick + 10, panelTop, left + column - right, panelTop + height};
    _panels[i].hasTimeLabels = i + columns() >= _panels.size();
  }
  arrangeTime(_panels.empty() ? column : _panels[0].box.width());
}

/// As many ticks of time as have room for their labels.
void PlotPainter::arrangeTime(double width) {
  for (int most = kMostTimeTicks; most >= 2; --most) {
    _timeTicks = roundTicks(_span.begin, _span.end, most, AxisUnit::Seconds);
    double widest = 0;
    for (std::string const& label : _timeTicks.labels) {
      widest = std::max(widest, _canvas.textWidth(label, kTextStyle));
    }
    if (_timeTicks.step / (_span.end - _span.begin) * width >= widest + kTimeLabelGap) return;
  }
}

std::vector<Point> PlotPainter::place(PlacedPanel const& placed, std::vector<Key> const& points) const {
  std::vector<Point> result;
  result.reserve(points.size());
  // Times of files are rarely exact: what is a hair outside still counts as the end.
  double const slack = (_span.end - _span.begin) * 1e-4;
  for (Key const& point : points) {
    if (point.time < _span.begin - slack || point.time > _span.end + slack) continue;
    result.push_back({x(placed, std::clamp(point.time, _span.begin, _span.end)), placed.y(point.value)});
  }
  return result;
}

void PlotPainter::drawHeader() {
  double const width = kWidth - 2 * kMargin;
  _canvas.drawText(_canvas.fitted(_picture.title, kTitleStyle, width), {kMargin, 44}, kTitleStyle, kInk);
  std::string const subtitle = _picture.subtitle + keyNote();
  _canvas.drawText(_canvas.fitted(subtitle, kSubtitleStyle, width), {kMargin, 66}, kSubtitleStyle, kSoft);
  if (!_picture.labelsAtLines) drawLegend();
}

bool PlotPainter::hasRoomForDots(PlacedPanel const& placed, PlotSeries const& series) const {
  std::vector<Point> const dots = place(placed, series.keys);
  if (dots.size() < 2) return true;
  return (dots.back().x - dots.front().x) / static_cast<double>(dots.size() - 1) >= kNearestDots;
}

/// How the picture marks keys.
std::string PlotPainter::keyNote() const {
  bool dots = false;
  bool rug = false;
  for (PlacedPanel const& placed : _panels) {
    for (PlotSeries const& series : placed.panel->series) {
      if (!series.keys.empty()) (hasRoomForDots(placed, series) ? dots : rug) = true;
    }
  }
  std::string note;
  if (dots) note += "; dots are keys";
  if (rug)
    note += dots ? ", grey bars are keys too close for dots" : "; grey bars are keys, too close for dots";
  return note;
}

void PlotPainter::drawLegend() {
  auto const fullest = std::max_element(
      _picture.panels.begin(), _picture.panels.end(),
      [](PlotPanel const& a, PlotPanel const& b) { return a.series.size() < b.series.size(); });
  if (fullest == _picture.panels.end()) return;
  auto const count = static_cast<double>(fullest->series.size());
  double const widest = (kWidth - 2 * kMargin) / count - kLegendLine - kLegendGap;
  double left = kMargin;
  for (PlotSeries const& series : fullest->series) {
    std::string const label = _canvas.fitted(series.label, kLabelStyle, widest);
    _canvas.drawLine({left, 86}, {left + kLegendLine - 6, 86}, 2.4, series.color);
    _canvas.drawText(label, {left + kLegendLine, 90}, kLabelStyle, kInk);
    left += kLegendLine + _canvas.textWidth(label, kLabelStyle) + kLegendGap;
  }
}

void PlotPainter::drawGrid(PlacedPanel const& placed) {
  Box const& box = placed.box;
  for (double const time : _timeTicks.values) {
    double const at = x(placed, time);
    _canvas.drawLine({at, box.top}, {at, box.bottom}, 1, kGrid);
  }
  for (std::size_t i = 0; i < placed.ticks.values.size(); ++i) {
    double const at = placed.y(placed.ticks.values[i]);
    bool const isZero = std::abs(placed.ticks.values[i]) < placed.ticks.step / 1000;
    _canvas.drawLine({box.left, at}, {box.right, at}, 1, isZero ? kZero : kGrid);
    _canvas.drawText(placed.ticks.labels[i], {box.left - 8, at + 4}, kTextStyle, kSoft, Align::Right);
  }
  _canvas.drawLine({box.left, box.bottom}, {box.right, box.bottom}, 1, kZero);

  std::string const unit = placed.panel->unit;
  double const unitWidth = _canvas.textWidth(unit, kTextStyle);
  double const titleLeft = _picture.columns > 1 ? box.left : kMargin;
  std::string const title =
      _canvas.fitted(placed.panel->title, kPanelStyle, box.right - titleLeft - unitWidth - 8);
  _canvas.drawText(title, {titleLeft, box.top - 10}, kPanelStyle, kInk);
  _canvas.drawText(unit, {titleLeft + _canvas.textWidth(title, kPanelStyle) + 8, box.top - 10}, kTextStyle,
                   kSoft);
}

void PlotPainter::drawTimeLabels(PlacedPanel const& placed) {
  double const base = placed.box.bottom + 20;
  for (std::size_t i = 0; i < _timeTicks.values.size(); ++i) {
    double const at = x(placed, _timeTicks.values[i]);
    _canvas.drawText(_timeTicks.labels[i], {at, base}, kTextStyle, kSoft, Align::Center);
  }
  Point const middle{(placed.box.left + placed.box.right) / 2, base + 18};
  _canvas.drawText("time in seconds", middle, kTextStyle, kSoft, Align::Center);
}

void PlotPainter::drawSeries(PlacedPanel const& placed, PlotSeries const& series) {
  std::vector<Point> const points = thinned(place(placed, series.samples), 0.5);
  Box const& box = placed.box;
  _canvas.clip({box.left - 1, box.top - 2, box.right + 1, box.bottom + 2});
  _canvas.drawPolyline(points, _picture.panels.size() > 6 ? 1.4 : 1.8, series.color);
  _canvas.unclip();
}

void PlotPainter::drawKeys(PlacedPanel const& placed) {
  std::vector<bool> rug(static_cast<std::size_t>(std::max(1.0, placed.box.width())) + 1, false);
  bool hasRug = false;
  for (PlotSeries const& series : placed.panel->series) {
    std::vector<Point> const dots = place(placed, series.keys);
    if (hasRoomForDots(placed, series)) {
      bool const small =
          _picture.panels.size() > 6 || static_cast<double>(dots.size()) * 10 > placed.box.width();
      _canvas.drawDots(dots, small ? 2.7 : 3.6, series.color);
      continue;
    }
    hasRug = true;
    for (Point const& dot : dots) rug[static_cast<std::size_t>(dot.x - placed.box.left)] = true;
  }
  for (std::size_t begin = 0; hasRug && begin < rug.size();) {
    std::size_t end = begin;
    while (end < rug.size() && rug[end]) ++end;
    double const left = placed.box.left + static_cast<double>(begin);
    double const right = placed.box.left + static_cast<double>(end);
    Box const& box = placed.box;
    if (end > begin)
      _canvas.fillBox({left, box.bottom - kRugHeight, std::min(right, box.right), box.bottom}, kRug);
    begin = end + 1;
  }
}

void PlotPainter::drawLineLabels(PlacedPanel const& placed) {
  std::vector<PlotSeries const*> labelled;
  std::vector<double> wanted;
  for (PlotSeries const& series : placed.panel->series) {
    auto const last = std::find_if(series.samples.rbegin(), series.samples.rend(), [this](Key const& sample) {
      return std::isfinite(sample.value) && sample.time <= _span.end;
    });
    labelled.push_back(&series);
    wanted.push_back(last == series.samples.rend() ? placed.box.bottom : placed.y(last->value));
  }
  std::vector<double> const places = spreadLabels(wanted, kLabelSpacing, placed.box.top, placed.box.bottom);
  double const right = placed.box.right;
  for (std::size_t i = 0; i < labelled.size(); ++i) {
    _canvas.drawLine({right + 2, wanted[i]}, {right + kLabelGap - 4, places[i]}, 1, labelled[i]->color);
    std::string const label = _canvas.fitted(labelled[i]->label, kLabelStyle, kWidestLabel);
    _canvas.drawText(label, {right + kLabelGap, places[i] + 4}, kLabelStyle, labelled[i]->color);
  }
}

void PlotPainter::paint() {
  drawHeader();
  for (PlacedPanel const& placed : _panels) {
    drawGrid(placed);
    if (placed.hasTimeLabels) drawTimeLabels(placed);
    for (PlotSeries const& series : placed.panel->series) drawSeries(placed, series);
    drawKeys(placed);
    if (_picture.labelsAtLines) drawLineLabels(placed);
  }
}

}  // namespace

std::optional<PictureFormat> pictureFormat(std::string const& path) {
  std::size_t const dot = path.rfind('.');
  if (dot == std::string::npos) return std::nullopt;
  std::string ending = path.substr(dot + 1);
  for (char& character : ending)
    character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
  if (ending == "png") return PictureFormat::Png;
  if (ending == "svg") return PictureFormat::Svg;
  return std::nullopt;
}

std::vector<double> spreadLabels(std::vector<double> const& wanted, double spacing, double low, double high) {
  std::size_t const count = wanted.size();
  std::vector<double> places(count);
  if (count == 0) return places;
  if (count > 1) spacing = std::min(spacing, (high - low) / static_cast<double>(count - 1));
  std::vector<std::size_t> order(count);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return wanted[a] < wanted[b]; });

  // Labels that would overlap form a block around the mean of their wishes, and blocks that meet grow together.
  struct Block {
    double sum = 0;  ///< of the wishes for the block's first label
    std::size_t size = 0;
    double begin = 0;
  };
  std::vector<Block> blocks;
  for (std::size_t const index : order) {
    blocks.push_back({wanted[index], 1, wanted[index]});
    while (true) {
      Block& last = blocks.back();
      double const length = spacing * static_cast<double>(last.size - 1);
      last.begin = std::clamp(last.sum / static_cast<double>(last.size), low, std::max(low, high - length));
      if (blocks.size() < 2) break;
      Block& before = blocks[blocks.size() - 2];
      double const beforeLength = spacing * static_cast<double>(before.size);
      if (before.begin + beforeLength <= last.begin) break;
      before.sum += last.sum - beforeLength * static_cast<double>(last.size);
      before.size += last.size;
      blocks.pop_back();
    }
  }
  std::size_t next = 0;
  for (Block const& block : blocks) {
    for (std::size_t i = 0; i < block.size; ++i)
      places[order[next++]] = block.begin + spacing * static_cast<double>(i);
  }
  return places;
}

std::vector<Point> thinned(std::vector<Point> const& points, double columnWidth) {
  std::vector<Point> result;
  for (std::size_t begin = 0; begin < points.size();) {
    double const column = std::floor(points[begin].x / columnWidth);
    std::size_t end = begin;
    std::size_t least = begin;
    std::size_t most = begin;
    bool gap = false;
    for (; end < points.size() && std::floor(points[end].x / columnWidth) == column; ++end) {
      if (points[end].y < points[least].y) least = end;
      if (points[end].y > points[most].y) most = end;
      gap = gap || !std::isfinite(points[end].y);
    }
    std::array<std::size_t, 4> picked = {begin, std::min(least, most), std::max(least, most), end - 1};
    if (gap) {
      result.insert(result.end(), points.begin() + static_cast<std::ptrdiff_t>(begin),
                    points.begin() + static_cast<std::ptrdiff_t>(end));
    } else {
      auto const last = std::unique(picked.begin(), picked.end());
      for (auto it = picked.begin(); it != last; ++it) result.push_back(points[*it]);
    }
    begin = end;
  }
  return result;
}

bool drawPlot(PlotPicture const& picture, PictureFormat format, std::string& bytes, std::string& message) {
  std::size_t const columns = usedColumns(picture);
  std::size_t const rows = (picture.panels.size() + columns - 1) / columns;
  double const top = picture.labelsAtLines ? 90 : 108;
  double const body = static_cast<double>(rows) * (panelHeight(rows) + kPanelTitle + kRowGap) - kRowGap;
  Canvas canvas(format, kWidth, top + body + kTimeAxis + kMargin / 2);
  PlotPainter painter(picture, canvas);
  painter.arrange(top);
  painter.paint();
  return canvas.finish(bytes, message);
}

}  // namespace knanim
