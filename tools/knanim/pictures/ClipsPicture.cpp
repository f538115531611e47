#include "knanim/pictures/ClipsPicture.h"

#include "knanim/support/Text.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace knanim {
namespace {

constexpr double kWidth = 1040;
constexpr double kMargin = 28;
constexpr double kLeft = 76;
constexpr double kTop = 96;
constexpr double kBarHeight = 26;
constexpr double kBarGap = 8;
constexpr double kPlotTitle = 40;
constexpr double kPlotHeight = 250;
constexpr double kAxis = 56;
constexpr int kMostTimeTicks = 13;
constexpr int kMostValueTicks = 7;
constexpr TextStyle kTitleStyle{20, true};
constexpr TextStyle kSubtitleStyle{12.5, false};
constexpr TextStyle kPanelStyle{13, true};
constexpr TextStyle kTextStyle{11.5, false};
constexpr TextStyle kBarStyle{12, true};
constexpr Color kInk = Color::fromHex(0x1F2733);
constexpr Color kSoft = Color::fromHex(0x5F6B7A);
constexpr Color kGrid = Color::fromHex(0xE8EBEF);
constexpr Color kAxisLine = Color::fromHex(0xBFC6CF);
constexpr Color kSeveral = Color::fromHex(0x8A94A3);
constexpr Color kWhite = Color::fromHex(0xFFFFFF);
constexpr std::array<Color, 6> kClipColors = {Color::fromHex(0x2F6FC4), Color::fromHex(0xDD6B20),
                                              Color::fromHex(0x2B9A63), Color::fromHex(0xC2335B),
                                              Color::fromHex(0x7B55C2), Color::fromHex(0x8A6D1B)};

Color clipColor(std::size_t clip, double alpha = 1) {
  Color color = kClipColors[clip % kClipColors.size()];
  color.alpha = alpha;
  return color;
}

class ClipsPainter {
 public:
  ClipsPainter(ClipsPicture const& picture, Canvas& canvas) : _picture(picture), _canvas(canvas) {
    _begin = picture.samples.front().time;
    _end = picture.samples.back().time;
    _bars = {kLeft, kTop, kWidth - kMargin,
             kTop + static_cast<double>(picture.clips.size()) * (kBarHeight + kBarGap)};
    _plot = {kLeft, _bars.bottom + kPlotTitle, kWidth - kMargin, _bars.bottom + kPlotTitle + kPlotHeight};
    _times = roundTicks(_begin, _end, kMostTimeTicks, AxisUnit::Seconds);
    arrangeValues();
  }

  void paint();

 private:
  double x(double time) const { return _plot.left + (time - _begin) / (_end - _begin) * _plot.width(); }
  double y(double value) const {
    return _plot.bottom - (value - _range.low) / (_range.high - _range.low) * _plot.height();
  }
  void arrangeValues();
  void drawHeader();
  void drawGrid();
  void drawMarks();
  void drawBars();
  void drawOwnValues();
  void drawResult();
  void drawLegend();

  ClipsPicture const& _picture;
  Canvas& _canvas;
  double _begin = 0;
  double _end = 1;
  Box _bars;
  Box _plot;
  AxisTicks _times;
  AxisRange _range;
  AxisTicks _values;
};

void ClipsPainter::arrangeValues() {
  double low = INFINITY;
  double high = -INFINITY;
  auto const add = [&](float value) {
    if (!std::isfinite(value)) return;
    low = std::min<double>(low, value);
    high = std::max<double>(high, value);
  };
  for (ClipSample const& sample : _picture.samples) {
    if (sample.written) add(*sample.written);
    for (float const value : sample.own) add(value);
  }
  _range = low <= high ? paddedRange(low, high, _picture.axis) : paddedRange(0, 0, _picture.axis);
  _values = roundTicks(_range.low, _range.high, kMostValueTicks, _picture.axis);
}

void ClipsPainter::drawHeader() {
  double const width = kWidth - 2 * kMargin;
  _canvas.drawText(_canvas.fitted(_picture.title, kTitleStyle, width), {kMargin, 40}, kTitleStyle, kInk);
  std::string const subtitle = counted(_picture.clips.size(), "clip") +
                               " on one timeline; the thick line is what the library wrote, thin lines are "
                               "what each clip gives by itself";
  _canvas.drawText(_canvas.fitted(subtitle, kSubtitleStyle, width), {kMargin, 62}, kSubtitleStyle, kSoft);
}

void ClipsPainter::drawGrid() {
  for (std::size_t i = 0; i < _times.values.size(); ++i) {
    double const at = x(_times.values[i]);
    _canvas.drawLine({at, _bars.top - 4}, {at, _bars.bottom}, 1, kGrid);
    _canvas.drawLine({at, _plot.top - 4}, {at, _plot.bottom}, 1, kGrid);
    _canvas.drawText(_times.labels[i], {at, _plot.bottom + 18}, kTextStyle, kSoft, Align::Center);
  }
  for (std::size_t i = 0; i < _values.values.size(); ++i) {
    double const at = y(_values.values[i]);
    _canvas.drawLine({_plot.left, at}, {_plot.right, at}, 1, kGrid);
    _canvas.drawText(_values.labels[i], {_plot.left - 8, at + 4}, kTextStyle, kSoft, Align::Right);
  }
  _canvas.drawLine({_plot.left, _plot.bottom}, {_plot.right, _plot.bottom}, 1, kAxisLine);
  _canvas.drawText("time in seconds", {(_plot.left + _plot.right) / 2, _plot.bottom + 36}, kTextStyle, kSoft,
                   Align::Center);
  double const width = _canvas.textWidth(_picture.channel, kPanelStyle);
  _canvas.drawText(_picture.channel, {kMargin, _plot.top - 12}, kPanelStyle, kInk);
  _canvas.drawText(_picture.unit, {kMargin + width + 8, _plot.top - 12}, kTextStyle, kSoft);
}

void ClipsPainter::drawMarks() {
  for (std::size_t i = 0; i < _picture.marks.size(); ++i) {
    double const at = x(_picture.marks[i]);
    for (Box const& box : {_bars, _plot}) {
      for (double top = box.top - 6; top < box.bottom; top += 6)
        _canvas.drawLine({at, top}, {at, std::min(top + 2.5, box.bottom)}, 1, kAxisLine);
    }
    _canvas.drawText(markName(i), {at, _bars.top - 10}, kTextStyle, kSoft, Align::Center);
  }
}

void ClipsPainter::drawBars() {
  for (std::size_t i = 0; i < _picture.clips.size(); ++i) {
    PlacedClip const& clip = _picture.clips[i];
    double const top = _bars.top + static_cast<double>(i) * (kBarHeight + kBarGap);
    double const middle = top + kBarHeight / 2;
    double const left = x(clip.span.begin);
    double const right = x(clip.span.end);
    _canvas.drawText(std::to_string(i + 1), {_bars.left - 8, middle + 4}, kBarStyle, clipColor(i),
                     Align::Right);
    _canvas.fillBox({left, top, right, top + kBarHeight}, clipColor(i));
    std::string label = clip.name.empty() ? "clip" : clip.name;
    if (clip.scale != 1) label += ", scale " + brief(clip.scale, 3);
    double const room = right - left - 16;
    // What does not fit into the bar stands beside it.
    if (_canvas.textWidth(label, kBarStyle) <= room) {
      _canvas.drawText(label, {left + 8, middle + 4}, kBarStyle, kWhite);
    } else if (right + 180 < _bars.right) {
      _canvas.drawText(_canvas.fitted(label, kBarStyle, 170), {right + 6, middle + 4}, kBarStyle,
                       clipColor(i));
    } else {
      _canvas.drawText(_canvas.fitted(label, kBarStyle, 170), {left - 6, middle + 4}, kBarStyle, clipColor(i),
                       Align::Right);
    }
  }
}

void ClipsPainter::drawOwnValues() {
  for (std::size_t clip = 0; clip < _picture.clips.size(); ++clip) {
    std::vector<Point> points;
    for (ClipSample const& sample : _picture.samples) points.push_back({x(sample.time), y(sample.own[clip])});
    _canvas.drawPolyline(points, 1, clipColor(clip, 0.38));
  }
}

/// Piece by piece in the colour of the clip that each one comes from.
void ClipsPainter::drawResult() {
  auto const& samples = _picture.samples;
  for (std::size_t begin = 0; begin < samples.size();) {
    std::vector<Point> points;
    std::size_t end = begin;
    for (; end < samples.size() && samples[end].writers == samples[begin].writers; ++end) {
      if (samples[end].written) points.push_back({x(samples[end].time), y(*samples[end].written)});
    }
    auto const& writers = samples[begin].writers;
    _canvas.drawPolyline(points, 3, writers.size() == 1 ? clipColor(writers[0]) : kSeveral);
    begin = end;
  }
}

void ClipsPainter::drawLegend() {
  bool const several =
      std::any_of(_picture.samples.begin(), _picture.samples.end(),
                  [](ClipSample const& sample) { return sample.written && sample.writers.size() > 1; });
  if (!several) return;
  std::string const text = "several clips give this value";
  double const left = _plot.right - _canvas.textWidth(text, kTextStyle);
  _canvas.drawLine({left - 28, _plot.top - 16}, {left - 8, _plot.top - 16}, 3, kSeveral);
  _canvas.drawText(text, {left, _plot.top - 12}, kTextStyle, kSoft);
}

void ClipsPainter::paint() {
  drawHeader();
  drawGrid();
  drawMarks();
  drawBars();
  _canvas.clip({_plot.left - 1, _plot.top - 2, _plot.right + 1, _plot.bottom + 2});
  drawOwnValues();
  drawResult();
  _canvas.unclip();
  drawLegend();
}

}  // namespace

std::string markName(std::size_t index) {
  std::string name(1, static_cast<char>('a' + index % 26));
  return index < 26 ? name : markName(index / 26 - 1) + name;
}

bool drawClips(ClipsPicture const& picture, PictureFormat format, std::string& bytes, std::string& message) {
  double const bars = static_cast<double>(picture.clips.size()) * (kBarHeight + kBarGap);
  Canvas canvas(format, kWidth, kTop + bars + kPlotTitle + kPlotHeight + kAxis);
  if (picture.samples.size() > 1) ClipsPainter(picture, canvas).paint();
  return canvas.finish(bytes, message);
}

}  // namespace knanim
