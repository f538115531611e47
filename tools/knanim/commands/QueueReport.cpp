#include "knanim/commands/QueueReport.h"

#include "knanim/support/Console.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace knanim {
namespace {

constexpr std::size_t kChartWidth = 48;
constexpr std::size_t kWidestName = 20;
constexpr char const* kPlays = "\xE2\x96\x88";    // full block
constexpr char const* kStands = "\xE2\x96\x91";   // light shade
constexpr char const* kOutside = "\xE2\x94\x80";  // a line

std::string seconds(double time) { return brief(std::round(time * 1e4) / 1e4, 6) + " s"; }

/// Number and name, all of one width.
std::string label(std::size_t index, QueueModels const& models) {
  std::size_t width = 0;
  for (QueueModel const& part : models.parts) width = std::max(width, widthInColumns(part.name));
  QueueModel const& part = models.parts[index];
  std::string const number = std::to_string(part.number);
  return std::string(3 - std::min<std::size_t>(3, number.size()), ' ') + number + "  " +
         padded(shortened(part.name, kWidestName), std::min(width, kWidestName));
}

/// The columns of a chart over a time from 0 on.
class Columns {
 public:
  explicit Columns(double end) : _perSecond(end > 0 ? static_cast<double>(kChartWidth) / end : 0) {}

  /// Paints all cells that a span touches.
  void paint(TimeSpan const& span, char const* cell) { fill(span.begin, span.end, 1e-6, cell); }
  /// Paints the cells whose middle lies in a span, and one at least.
  void paintWithin(TimeSpan const& span, char const* cell) { fill(span.begin, span.end, 0.5, cell); }
  std::string text() const {
    std::string line;
    for (char const* cell : _cells) line += cell;
    return line;
  }

 private:
  void fill(double begin, double end, double share, char const* cell) {
    auto const clamped = [](double column) { return std::clamp(column, 0.0, kChartWidth - 1.0); };
    auto const first = static_cast<std::size_t>(clamped(std::floor(begin * _perSecond + share)));
    double const last = clamped(std::ceil(end * _perSecond - share) - 1);
    auto const after = std::max(first, static_cast<std::size_t>(last)) + 1;
    std::fill(_cells.begin() + static_cast<std::ptrdiff_t>(first),
              _cells.begin() + static_cast<std::ptrdiff_t>(after), cell);
  }

  double _perSecond;
  std::array<char const*, kChartWidth> _cells = [] {
    std::array<char const*, kChartWidth> cells{};
    cells.fill(" ");
    return cells;
  }();
};

double sumOf(std::vector<TimeSpan> const& spans) {
  double sum = 0;
  for (TimeSpan const& span : spans) sum += span.end - span.begin;
  return sum;
}

std::string describe(QueueTrack const& track) {
  if (!track.playing) return "did not play";
  double const stood = sumOf(track.pauses);
  double const outside = sumOf(track.outside);
  std::string text = seconds(track.playing->begin) + " to " + seconds(track.playing->end);
  if (stood > 0) text += ", paused for " + seconds(stood);
  if (outside > 0) text += ", outside for " + seconds(outside);
  return track.finished ? text : text + ", stopped before its end";
}

std::string drawAxis(double end) {
  std::string const middle = brief(end / 2, 3);
  std::string const last = brief(end, 4) + " s";
  std::string axis = "0";
  axis.resize(kChartWidth / 2 - std::min(middle.size() / 2, kChartWidth / 2), ' ');
  axis += middle;
  axis.resize(kChartWidth + 2 - last.size(), ' ');
  return axis + last;
}

}  // namespace

std::string describe(QueueEvent const& event, QueueModels const& models) {
  std::array<char, 32> time;
  std::snprintf(time.data(), time.size(), "%9.3f s  ", event.time);
  std::string const line =
      time.data() + label(event.model, models) + "  " + padded(event.what, 8) + "  " + event.detail;
  return line.substr(0, line.find_last_not_of(' ') + 1);
}

std::vector<std::string> drawChart(QueueRecord const& record, QueueModels const& models) {
  std::vector<std::string> lines;
  bool hasOutside = false;
  for (std::size_t i = 0; i < record.tracks.size(); ++i) {
    QueueTrack const& track = record.tracks[i];
    Columns columns(record.end);
    if (track.playing) columns.paint(*track.playing, kPlays);
    for (TimeSpan const& each : track.outside) columns.paintWithin(each, kOutside);
    for (TimeSpan const& pause : track.pauses) columns.paintWithin(pause, kStands);
    hasOutside = hasOutside || !track.outside.empty();
    lines.push_back(label(i, models) + "  |" + columns.text() + "|  " + describe(track));
  }
  std::string const indent(lines.empty() ? 0 : widthInColumns(label(0, models)) + 2, ' ');
  lines.push_back(indent + drawAxis(record.end));
  lines.push_back(
      indent + ' ' + kPlays + " plays   " + kStands + " paused" +
      (hasOutside ? std::string("   ") + kOutside + " the range is outside of its animation" : ""));
  return lines;
}

void printQueueReport(QueueRecord const& record, QueueModels const& models, QueueSettings const& settings,
                      std::FILE* output) {
  std::fputc('\n', output);
  for (std::string const& line : drawChart(record, models)) std::fprintf(output, "%s\n", line.c_str());
  std::fprintf(output, "\n");
  auto const passes = static_cast<double>(std::max<std::uint64_t>(record.passes, 1));
  std::string const rate = settings.rate > 0 ? brief(settings.rate, 6) + " a second" : "one after the other";
  std::string const missed =
      record.missedSlots != 0 ? "; " + counted(record.missedSlots, "more") + " missed" : "";
  printRow(output, "passes", grouped(record.passes) + ", " + rate + missed);
  printRow(output, "trees",
           grouped(record.evaluated) + " evaluated, " + grouped(record.queued) + " in the queue");
  printRow(output, "wrote",
           counted(record.fields, "field") + ", " + brief(static_cast<double>(record.fields) / passes, 4) +
               " per pass");
  printRow(output, "took",
           shortTime(record.seconds) + ": " + shortTime(record.seconds / passes) + " per pass, the slowest " +
               shortTime(record.slowestSeconds) + " (at " + seconds(record.slowestTime) + ')');
}

}  // namespace knanim
