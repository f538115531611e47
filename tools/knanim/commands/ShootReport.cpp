#include "knanim/commands/ShootReport.h"

#include "knanim/support/Console.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace knanim {
namespace {

/// Steps from frame to frame, of which pauses are none.
struct Steps {
  double sum = 0;
  double largest = 0;
  std::size_t count = 0;

  void add(double step) {
    sum += step;
    largest = std::max(largest, step);
    ++count;
  }
  std::string largestToMean() const {
    if (!(sum > 0)) return "none";
    return brief(largest * static_cast<double>(count) / sum, 3) + " times the mean";
  }
};

/// Between two orientations, in degrees.
double angleBetween(osg::Matrix const& a, osg::Matrix const& b) {
  double trace = 0;
  double sizes[2] = {0, 0};
  for (osg::UInt32 i = 0; i < 3; ++i) {
    for (osg::UInt32 k = 0; k < 3; ++k) {
      trace += static_cast<double>(a(i, k)) * static_cast<double>(b(i, k));
      sizes[0] += static_cast<double>(a(i, k)) * static_cast<double>(a(i, k));
      sizes[1] += static_cast<double>(b(i, k)) * static_cast<double>(b(i, k));
    }
  }
  double const size = std::sqrt(sizes[0] * sizes[1]) / 3;
  double const cosine = size > 0 ? (trace / size - 1) / 2 : 1;
  return std::acos(std::clamp(cosine, -1.0, 1.0)) * 180 / std::numbers::pi;
}

void printEvenness(ShootOptions const& options, ShootRecord const& record, std::span<CameraMoment const> way,
                   std::FILE* output) {
  // Of one move between viewpoints, as each has speeds of its own; the worst of them counts.
  std::vector<Steps> places;
  std::vector<Steps> angles;
  double path = 0;
  double turn = 0;
  double const frame = 1 / options.framesPerSecond;
  bool const jumps = options.move == "shot" && options.pause > 0;
  for (std::size_t leg = 1; leg < record.arrivals.size(); ++leg) {
    double const end = record.arrivals[leg];
    double const begin = end - options.seconds;
    Steps& place = places.emplace_back();
    Steps& angle = angles.emplace_back();
    for (std::size_t i = 1; i < way.size(); ++i) {
      if (way[i - 1].time < begin - frame / 4 || way[i].time > end + frame / 4) continue;
      if (jumps && way[i - 1].time < begin + frame / 4) continue;
      place.add(osg::length(way[i].from - way[i - 1].from));
      angle.add(angleBetween(way[i].toWorld, way[i - 1].toWorld));
    }
    path += place.sum;
    turn += angle.sum;
  }
  auto const worst = [](std::vector<Steps> const& steps) {
    auto const ratio = [](Steps const& each) {
      return each.sum > 0 ? each.largest * static_cast<double>(each.count) / each.sum : 0;
    };
    return std::ranges::max_element(steps, {}, ratio);
  };
  printRow(output, "path", brief(path) + " units, the largest step " + worst(places)->largestToMean());
  printRow(output, "turn", brief(turn) + " degrees, the largest step " + worst(angles)->largestToMean());
}

/// How far the camera was from its viewpoints at the frames that are exactly at their times.
void printNearness(ShootRecord const& record, std::span<CameraMoment const> way, std::FILE* output) {
  double farthest = 0;
  std::size_t met = 0;
  for (std::size_t i = 0; i < std::min(record.arrivals.size(), record.viewpoints.size()); ++i) {
    for (CameraMoment const& moment : way) {
      if (std::abs(moment.time - record.arrivals[i]) > 1e-6) continue;
      farthest =
          std::max(farthest, static_cast<double>(osg::length(moment.from - record.viewpoints[i].from)));
      ++met;
    }
  }
  std::string const nearness =
      farthest < 1e-9 ? "exactly" : std::string("within ").append(brief(farthest, 2)) + " units";
  if (met > 0) printRow(output, "reached", counted(met, "viewpoint") + " at a frame, " + nearness);
}

}  // namespace

std::string describeMove(ShootOptions const& options, std::size_t viewpoints) {
  std::string const each = brief(options.seconds) + " s";
  if (options.move == "turntable")
    return std::string("the turntable, once around ") + (options.even ? "at constant speed " : "") + "in " +
           each;
  std::string const count = std::to_string(viewpoints);
  std::string text = options.move == "flight" ? "flights from one to the next of " + count + " viewpoints, "
                     : options.move == "shot" ? "shots from one to the next of " + count + " viewpoints, "
                                              : "a camera track through " + count + " viewpoints, ";
  text += each + " each";
  if (options.pause > 0) text += ", pauses of " + brief(options.pause) + " s";
  if (options.fade > 0 && options.move != "flight") text += ", fades of " + brief(options.fade) + " s";
  return text;
}

void printShootReport(ShootOptions const& options, ShootRecord const& record,
                      std::span<CameraMoment const> way, std::string const& title, std::FILE* output) {
  std::fprintf(output, "%s\n", title.c_str());
  printRow(output, "move", describeMove(options, record.viewpoints.size()));
  for (std::size_t i = 0; i < record.viewpoints.size(); ++i) {
    Viewpoint const& each = record.viewpoints[i];
    auto const triple = [](auto const& v) {
      std::string text(1, '(');
      for (osg::UInt32 part = 0; part < 3; ++part) {
        if (part > 0) text += ", ";
        text += brief(static_cast<double>(v[part]));
      }
      return text += ')';
    };
    printRow(output, i == 0 ? "viewpoints" : "",
             std::to_string(i + 1) + "  " + printable(each.name) + ", from " + triple(each.from) + " at " +
                 triple(each.at) + ", fov " + brief(static_cast<double>(each.fov)) + ", exposure " +
                 brief(static_cast<double>(each.exposure)));
  }
  printRow(output, "curves", counted(record.curves, "curve") + ", " + counted(record.keys, "key"));
  printRow(output, "frames", grouped(way.size()) + ", " + brief(options.framesPerSecond) + " per second");
  printEvenness(options, record, way, output);
  printNearness(record, way, output);
  printFiles(output, record.files);
}

}  // namespace knanim
