#include "knanim/curvefiles/ColladaDocument.h"
#include "knanim/curvefiles/CurveReaders.h"
#include "knanim/support/Text.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <set>

namespace knanim {
namespace {

using Type = ColladaStep::Type;
/// The upper three rows of a matrix.
using Matrix34 = std::array<std::array<double, 4>, 3>;

constexpr Matrix34 kIdentity = {{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}}};

Matrix34 operator*(Matrix34 const& a, Matrix34 const& b) {
  Matrix34 result{};
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t column = 0; column < 4; ++column) {
      result[row][column] = column == 3 ? a[row][3] : 0;
      for (std::size_t k = 0; k < 3; ++k) result[row][column] += a[row][k] * b[k][column];
    }
  }
  return result;
}

bool isStill(ColladaStep const& step) {
  if (!step.curves.empty()) return false;
  if (step.type == Type::Rotate) return step.values[3] == 0;
  double const neutral = step.type == Type::Scale ? 1 : 0;
  return (step.type == Type::Translate || step.type == Type::Scale) &&
         std::all_of(step.values.begin(), step.values.end(), [&](double each) { return each == neutral; });
}

/// The axis of a turn where it is one of the three, with its sign: 1 to 3; else 0.
int axisOf(ColladaStep const& step) {
  auto const& v = step.values;
  if (step.curves.size() > 1 || (step.curves.size() == 1 && step.curves.begin()->first != 3)) return 0;
  for (std::size_t i = 0; i < 3; ++i) {
    bool const isAlone = v[(i + 1) % 3] == 0 && v[(i + 2) % 3] == 0;
    if (isAlone && std::abs(v[i]) == 1) return static_cast<int>(v[i]) * static_cast<int>(i + 1);
  }
  return 0;
}

/// What of a transform's channels a step is, in the order in which they may follow each other; 0 for none of them.
int rankOf(ColladaStep const& step) {
  if (step.type == Type::Translate) return 1;
  if (step.type == Type::Scale) return 5;
  if (step.type == Type::Rotate && axisOf(step) != 0) return 5 - std::abs(axisOf(step));
  return 0;
}

/// A translation, turns about z, y and x, and a scale are what a transform has.
bool isTransform(ColladaNode const& node) {
  int last = 0;
  for (ColladaStep const& step : node.steps) {
    if (isStill(step)) continue;
    int const rank = rankOf(step);
    if (rank <= last) return false;
    last = rank;
  }
  return true;
}

void addStep(ColladaStep const& step, std::size_t node, CurveReplacement& replacement) {
  if (step.type == Type::Rotate) {
    int const axis = axisOf(step);
    auto const component = static_cast<std::uint8_t>(std::abs(axis) - 1);
    for (auto const& [index, curve] : step.curves)
      replacement.add(node, ChannelKind::Rotation, component, scaled(curve, axis < 0 ? -1 : 1));
    return;
  }
  ChannelKind const kind = step.type == Type::Scale ? ChannelKind::Scale : ChannelKind::Translation;
  for (auto const& [index, curve] : step.curves)
    replacement.add(node, kind, static_cast<std::uint8_t>(index), curve);
}

/// Angles that no curve moves, beside one that a curve does: those of the importer may be other ones for the same turn.
void addStillAngles(ColladaNode const& node, std::size_t place, CurveReplacement& replacement) {
  std::array<double, 3> angles = {};
  std::array<bool, 3> isMoved = {};
  std::optional<double> time;
  for (ColladaStep const& step : node.steps) {
    if (step.type != Type::Rotate || isStill(step)) continue;
    int const axis = axisOf(step);
    auto const component = static_cast<std::size_t>(std::abs(axis) - 1);
    angles[component] = axis < 0 ? -step.values[3] : step.values[3];
    isMoved[component] = !step.curves.empty();
    if (isMoved[component]) time = step.curves.begin()->second.keys.front().time;
  }
  for (std::uint8_t i = 0; i < 3 && time; ++i) {
    if (!isMoved[i]) replacement.add(place, ChannelKind::Rotation, i, SourceCurve{{{*time, angles[i]}}, {}});
  }
}

Matrix34 matrixOf(ColladaStep const& step, double time, double inside) {
  Matrix34 result = kIdentity;
  auto const value = [&](std::size_t i) { return step.valueAt(i, time, inside); };
  switch (step.type) {
    case Type::Translate:
      for (std::size_t i = 0; i < 3; ++i) result[i][3] = value(i);
      break;
    case Type::Scale:
      for (std::size_t i = 0; i < 3; ++i) result[i][i] = value(i);
      break;
    case Type::Matrix:
      for (std::size_t i = 0; i < 12; ++i) result[i / 4][i % 4] = value(i);
      break;
    case Type::Rotate: {
      double const length = std::hypot(value(0), value(1), value(2));
      if (!(length > 0)) break;
      double const half = value(3) / 360 * 3.14159265358979323846;
      double const sine = std::sin(half) / length;
      Matrix3 const turn =
          toMatrix(Rotation{std::cos(half), sine * value(0), sine * value(1), sine * value(2)});
      for (std::size_t i = 0; i < 9; ++i) result[i / 3][i % 3] = turn[i / 3][i % 3];
      break;
    }
    case Type::Other:
      break;
  }
  return result;
}

/// The unit rotation of a rotation matrix, by its largest part (Shepperd 1978).
Rotation toRotation(Matrix34 const& m) {
  std::array<double, 4> const squares = {1 + m[0][0] + m[1][1] + m[2][2], 1 + m[0][0] - m[1][1] - m[2][2],
                                         1 - m[0][0] + m[1][1] - m[2][2], 1 - m[0][0] - m[1][1] + m[2][2]};
  auto const largest = std::max_element(squares.begin(), squares.end());
  double const wx = m[2][1] - m[1][2];
  double const wy = m[0][2] - m[2][0];
  double const wz = m[1][0] - m[0][1];
  double const xy = m[0][1] + m[1][0];
  double const xz = m[0][2] + m[2][0];
  double const yz = m[1][2] + m[2][1];
  double const top = *largest;
  std::array<Rotation, 4> const all = {
      Rotation{top, wx, wy, wz}, {wx, top, xy, xz}, {wy, xy, top, yz}, {wz, xz, yz, top}};
  Rotation rotation = all[static_cast<std::size_t>(largest - squares.begin())];
  return normalize(rotation) ? rotation : Rotation();
}

/// All transforms of a node as one, taken apart again at any time.
class Sampled {
 public:
  explicit Sampled(ColladaNode const& node) : _node(node) {
    std::set<double> distinct;
    for (ColladaStep const& step : node.steps) {
      for (auto const& [index, curve] : step.curves) {
        for (Key const& key : curve.keys) distinct.insert(key.time);
        _hasEnds = _hasEnds || curve.before != Outside::Constant || curve.after != Outside::Constant;
      }
    }
    _times.assign(distinct.begin(), distinct.end());
  }

  void add(std::size_t node, CurveReplacement& replacement) const {
    for (std::uint8_t i = 0; i < 3; ++i) {
      replacement.add(node, ChannelKind::Translation, i,
                      function([i](Matrix34 const& m) { return m[i][3]; }));
      replacement.add(node, ChannelKind::Scale, i, function([i](Matrix34 const& m) { return sizeOf(m, i); }));
    }
    SourceRotation rotation;
    rotation.times = _times;
    rotation.shapes.assign(_times.size() - 1, SpanShape::Straight);
    rotation.at = [this](std::size_t span, double share) { return rotationOf(at(span, share)); };
    rotation.last = rotationOf(last());
    replacement.addRotation(node, rotation);
    if (_hasEnds)
      replacement.warn(node, ChannelKind::Rotation,
                       "its extrapolation has no equivalent; the end values are held");
  }

 private:
  template <typename Part>
  SourceFunction function(Part const& part) const {
    return {_times, std::vector<SpanShape>(_times.size() - 1, SpanShape::Straight),
            [this, part](std::size_t span, double share) { return part(at(span, share)); }, part(last())};
  }
  Matrix34 matrixAt(double time, double inside) const {
    Matrix34 result = kIdentity;
    for (ColladaStep const& step : _node.steps) result = result * matrixOf(step, time, inside);
    return result;
  }
  Matrix34 at(std::size_t span, double share) const {
    double const a = _times[span];
    double const b = _times[span + 1];
    return matrixAt(std::lerp(a, b, share), (a + b) / 2);
  }
  Matrix34 last() const { return matrixAt(_times.back(), _times.back()); }
  static double determinant(Matrix34 const& m) {
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
           m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
  }
  /// Mirrored transforms have negative sizes.
  static double sizeOf(Matrix34 const& m, std::size_t axis) {
    double const size = std::hypot(m[0][axis], m[1][axis], m[2][axis]);
    return determinant(m) < 0 ? -size : size;
  }
  static Rotation rotationOf(Matrix34 m) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
      double const size = sizeOf(m, axis);
      for (std::size_t row = 0; row < 3 && size != 0; ++row) m[row][axis] /= size;
    }
    return toRotation(m);
  }

  ColladaNode const& _node;
  std::vector<double> _times;
  bool _hasEnds = false;
};

/// Whether all there is are straight lines between whole matrices, of which the importer's samples lose nothing.
bool isSampledAnyway(ColladaNode const& node) {
  return std::all_of(node.steps.begin(), node.steps.end(), [](ColladaStep const& step) {
    return step.curves.empty() ||
           (step.type == Type::Matrix &&
            std::all_of(step.curves.begin(), step.curves.end(), [](auto const& each) {
              auto const& spans = each.second.spans;
              return std::all_of(spans.begin(), spans.end(),
                                 [](SourceSpan const& span) { return span.shape == SpanShape::Straight; });
            }));
  });
}

bool hasOther(ColladaNode const& node) {
  return std::any_of(node.steps.begin(), node.steps.end(),
                     [](ColladaStep const& step) { return step.type == Type::Other; });
}

/// The importer calls nodes by their ids.
std::optional<std::size_t> findNode(ImportedModel const& model, std::string const& id) {
  auto const found =
      std::find_if(model.nodes.begin(), model.nodes.end(),
                   [name = printable(id)](ImportedNode const& each) { return each.name == name; });
  if (found == model.nodes.end()) return std::nullopt;
  return static_cast<std::size_t>(found - model.nodes.begin());
}

void addNode(ColladaNode const& source, std::size_t node, CurveReplacement& replacement) {
  replacement.takeNode(node);
  if (!isTransform(source)) return Sampled(source).add(node, replacement);
  for (ColladaStep const& step : source.steps) {
    if (!isStill(step)) addStep(step, node, replacement);
  }
  addStillAngles(source, node, replacement);
}

}  // namespace

std::optional<std::string> readColladaCurves(std::string const& path, ImportedModel const& model,
                                             CurveReplacement& replacement) {
  std::ifstream stream(path, std::ios::binary);
  std::string const text{std::istreambuf_iterator<char>(stream), {}};
  if (!stream.is_open() || stream.bad()) return "it cannot be read";
  ColladaDocument const document = readColladaDocument(text, model.summary.animations[model.animation].name);
  if (!document.failure.empty()) return document.failure;
  for (std::string const& warning : document.warnings) replacement.warn(warning);
  for (ColladaNode const& node : document.nodes) {
    if (isSampledAnyway(node)) continue;
    auto const place = findNode(model, node.id);
    if (place && !hasOther(node))
      addNode(node, *place, replacement);
    else
      replacement.warn(printable(node.id) + ": curves are replaced by samples, because " +
                       (place ? "its kind of transform is not supported" : "the model has no such node"));
  }
  return std::nullopt;
}

}  // namespace knanim
