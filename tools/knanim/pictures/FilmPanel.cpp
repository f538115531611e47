#include "knanim/pictures/FilmPanel.h"

#include "knanim/pictures/DepthLayer.h"
#include "knanim/scene/ClosedSurface.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace knanim {
namespace {

constexpr Color kBackground = Color::fromHex(0xF5F7FA);
constexpr Color kGround = Color::fromHex(0x8FA0B4);
constexpr Color kShadow = Color::fromHex(0xDDE3EA);
constexpr Color kMiddle = Color::fromHex(0x2B3442);
constexpr Color kLeft = Color::fromHex(0x2F6FC4);
constexpr Color kRight = Color::fromHex(0xDD6B20);
constexpr Color kTrail = Color::fromHex(0x7B55C2);
constexpr double kFarthestFade = 0.55;  ///< share of the background in the colour of what is farthest
constexpr int kSegmentsOfGridLine = 14;
constexpr int kMostGridLines = 64;  ///< in one direction
constexpr std::size_t kPiecesOfTrail = 6;
constexpr std::size_t kMostOutlinedFaces = 12'000;
constexpr double kOutlineOffset = 0.003;  ///< as a part of the depth of all that is seen
constexpr std::size_t kMostShadowedFaces = 40'000;

Color mix(Color const& a, Color const& b, double share) {
  auto const blend = [share](double x, double y) { return x + (y - x) * share; };
  return {blend(a.red, b.red), blend(a.green, b.green), blend(a.blue, b.blue), blend(a.alpha, b.alpha)};
}

Color sideColor(Side side) {
  switch (side) {
    case Side::Left:
      return kLeft;
    case Side::Right:
      return kRight;
    case Side::Middle:
      break;
  }
  return kMiddle;
}

/// A round step: 1, 2 or 5 times a power of ten.
float roundStep(float wanted) {
  float const power = std::pow(10.F, std::floor(std::log10(wanted)));
  float const share = wanted / power;
  return power * (share < 1.5F ? 1 : share < 3.5F ? 2 : share < 7.5F ? 5 : 10);
}

/// The multiples of `step` from `middle - reach` to `middle + reach`, as far as they differ. Counted, not added up:
/// far from the origin a step can be smaller than the spacing of numbers.
std::vector<float> gridPlaces(float middle, float reach, float step) {
  std::vector<float> places;
  double const width = static_cast<double>(step);
  double const low = static_cast<double>(middle) - static_cast<double>(reach);
  double const high = static_cast<double>(middle) + static_cast<double>(reach);
  double const first = std::ceil(low / width);
  for (int i = 0; i < kMostGridLines && (first + i) * width <= high; ++i) {
    float const place = static_cast<float>((first + i) * width);
    if (places.empty() || place != places.back()) places.push_back(place);
  }
  return places;
}

osg::BoxVolume boundsOf(Pose const& pose, SceneFigure const& figure) {
  std::vector<osg::Pnt3f> points;
  figure.addPoints(pose, points);
  osg::BoxVolume box;
  for (osg::Pnt3f const& point : points) {
    if (std::isfinite(point.x()) && std::isfinite(point.y()) && std::isfinite(point.z())) box.extendBy(point);
  }
  return box;
}

struct SeenFace {
  std::vector<DeepPoint> corners;
  double depth = 0;
  Color color;
  Color line;
};

/// Positive for corners that run clockwise in the picture.
double turnOf(std::span<DeepPoint const> corners) {
  double turn = 0;
  for (std::size_t i = 0; i < corners.size(); ++i) {
    Point const& at = corners[i].at;
    Point const& next = corners[(i + 1) % corners.size()].at;
    turn += at.x * next.y - next.x * at.y;
  }
  return turn;
}

class PanelPainter {
 public:
  PanelPainter(FilmFrame const& frame, SceneFigure const& figure, FilmStage const& stage, Box const& box,
               Canvas& canvas)
      : _frame(frame), _figure(figure), _stage(stage), _box(box), _canvas(canvas) {}

  void paint();

 private:
  Point place(SeenPoint const& seen) const {
    double const half = _box.width() / 2;
    return {_box.left + half * (1 + seen.x), (_box.top + _box.bottom) / 2 - half * seen.y};
  }
  std::optional<Point> place(osg::Pnt3f const& point) const {
    auto const seen = _frame.view.see(point);
    // What is far outside is left out: it cannot be drawn in a picture's numbers.
    if (!seen || std::abs(seen->x) > 1e3 || std::abs(seen->y) > 1e3) return std::nullopt;
    return place(*seen);
  }
  osg::Pnt3f onGround(osg::Pnt3f const& point) const { return {point.x(), _stage.center.y(), point.z()}; }
  double fade(double depth) const;
  void measureDepth();

  void drawGround();
  void drawGroundLine(osg::Pnt3f const& from, osg::Pnt3f const& to);
  void drawTrails();
  void drawStickShadows();
  void drawSticks();
  void drawJoints();
  void drawMeshShadows();
  void drawMeshes();
  void drawByDepth(std::span<SeenFace const> faces, bool outlined);
  void drawInOrder(std::vector<SeenFace>& faces);
  void addFaces(std::size_t index, std::vector<SeenFace>& faces) const;
  Color faceColor(std::size_t mesh, std::span<osg::Pnt3f const> corners) const;
  double stickWidth(double depth) const;

  FilmFrame const& _frame;
  SceneFigure const& _figure;
  FilmStage const& _stage;
  Box _box;
  Canvas& _canvas;
  double _nearest = 0;
  double _farthest = 1;
};

void PanelPainter::measureDepth() {
  std::vector<osg::Pnt3f> points;
  _figure.addPoints(_frame.pose, points);
  _nearest = INFINITY;
  _farthest = 0;
  for (osg::Pnt3f const& point : points) {
    auto const seen = _frame.view.see(point);
    if (!seen) continue;
    _nearest = std::min(_nearest, seen->depth);
    _farthest = std::max(_farthest, seen->depth);
  }
}

double PanelPainter::fade(double depth) const {
  if (!(_farthest > _nearest)) return 0;
  return std::clamp((depth - _nearest) / (_farthest - _nearest), 0.0, 1.0) * kFarthestFade;
}

void PanelPainter::paint() {
  _canvas.fillBox(_box, kBackground);
  _canvas.clip(_box);
  measureDepth();
  drawGround();
  if (_figure.hasMeshes()) {
    drawMeshShadows();
    drawMeshes();
  } else {
    drawStickShadows();
    drawTrails();
    drawSticks();
    drawJoints();
  }
  _canvas.unclip();
}

/// A line that fades towards the rim of the ground.
void PanelPainter::drawGroundLine(osg::Pnt3f const& from, osg::Pnt3f const& to) {
  std::optional<Point> before;
  for (int i = 0; i <= kSegmentsOfGridLine; ++i) {
    float const share = static_cast<float>(i) / kSegmentsOfGridLine;
    osg::Pnt3f const at = from + (to - from) * share;
    std::optional<Point> const placed = place(at);
    double const rim = 1 - osg::length(at - _stage.center) / _stage.radius;
    if (before && placed && rim > 0)
      _canvas.drawLine(*before, *placed, 0.8,
                       {kGround.red, kGround.green, kGround.blue, 0.75 * std::min(1.0, 1.4 * rim)});
    before = placed;
  }
}

void PanelPainter::drawGround() {
  osg::Pnt3f const& center = _stage.center;
  float const y = center.y();
  float const r = _stage.radius;
  for (float const x : gridPlaces(center.x(), r, _stage.gridStep))
    drawGroundLine({x, y, center.z() - r}, {x, y, center.z() + r});
  for (float const z : gridPlaces(center.z(), r, _stage.gridStep))
    drawGroundLine({center.x() - r, y, z}, {center.x() + r, y, z});
}

double PanelPainter::stickWidth(double depth) const {
  double const pixels =
      _frame.view.scaleAt(depth) * static_cast<double>(_stage.figureSize) * _box.width() / 2;
  return std::clamp(pixels * 0.016, 1.2, 7.0);
}

void PanelPainter::drawStickShadows() {
  for (Stick const& stick : _figure.sticks()) {
    auto const from = place(onGround(_frame.pose.joints[stick.from]));
    auto const to = place(onGround(_frame.pose.joints[stick.to]));
    auto const seen = _frame.view.see(_frame.pose.joints[stick.to]);
    if (from && to && seen) _canvas.drawRod(*from, *to, 1.6 * stickWidth(seen->depth), kShadow);
  }
}

/// In pieces that become clearer towards the present.
void PanelPainter::drawTrails() {
  for (std::vector<osg::Pnt3f> const& trail : _frame.trails) {
    std::size_t const piece = std::max<std::size_t>(1, trail.size() / kPiecesOfTrail);
    for (std::size_t first = 0; first + 1 < trail.size(); first += piece) {
      std::vector<Point> points;
      for (std::size_t i = first; i <= std::min(first + piece, trail.size() - 1); ++i) {
        if (auto const at = place(trail[i])) points.push_back(*at);
      }
      double const age = static_cast<double>(first + piece) / static_cast<double>(trail.size());
      _canvas.drawPolyline(points, 0.8 + age, mix(kBackground, kTrail, 0.12 + 0.55 * std::min(age, 1.0)));
    }
  }
}

void PanelPainter::drawSticks() {
  struct Drawn {
    Point from;
    Point to;
    double depth;
    Side side;
  };
  std::vector<Drawn> drawn;
  for (Stick const& stick : _figure.sticks()) {
    osg::Pnt3f const& from = _frame.pose.joints[stick.from];
    osg::Pnt3f const& to = _frame.pose.joints[stick.to];
    auto const a = place(from);
    auto const b = place(to);
    if (a && b)
      drawn.push_back({*a, *b, (_frame.view.see(from)->depth + _frame.view.see(to)->depth) / 2, stick.side});
  }
  std::stable_sort(drawn.begin(), drawn.end(),
                   [](Drawn const& a, Drawn const& b) { return a.depth > b.depth; });
  for (Drawn const& each : drawn) {
    double const width = stickWidth(each.depth);
    // A rim in the colour of the background shows which limb is in front.
    _canvas.drawRod(each.from, each.to, width + 1.6, kBackground);
    _canvas.drawRod(each.from, each.to, width, mix(sideColor(each.side), kBackground, fade(each.depth)));
    _canvas.fillDisc(each.from, width * 0.75, mix(sideColor(each.side), kBackground, fade(each.depth)));
    _canvas.fillDisc(each.to, width * 0.75, mix(sideColor(each.side), kBackground, fade(each.depth)));
  }
}

/// A figure without any line is a crowd of points.
void PanelPainter::drawJoints() {
  if (!_figure.sticks().empty()) return;
  std::vector<Point> dots;
  for (osg::Pnt3f const& joint : _frame.pose.joints) {
    if (auto const at = place(joint)) dots.push_back(*at);
  }
  _canvas.drawDots(dots, 4, kMiddle);
}

void PanelPainter::drawMeshShadows() {
  std::size_t faces = 0;
  for (SceneMesh const& shown : _figure.meshes())
    faces += _figure.content().meshes[shown.mesh].faceSizes.size();
  if (faces > kMostShadowedFaces) return;
  std::vector<osg::Pnt3f> shadow;
  std::vector<Point> corners;
  for (std::size_t i = 0; i < _frame.pose.meshes.size(); ++i) {
    ImportedMesh const& mesh = _figure.content().meshes[_figure.meshes()[i].mesh];
    std::size_t first = 0;
    for (osg::UInt32 const size : mesh.faceSizes) {
      shadow.clear();
      corners.clear();
      for (std::size_t k = first; size > 2 && k < first + size; ++k)
        shadow.push_back(onGround(_frame.pose.meshes[i][mesh.indices[k]]));
      first += size;
      for (SeenPoint const& seen : _frame.view.seePart(shadow)) corners.push_back(place(seen));
      if (corners.size() > 2) _canvas.fillPolygon(corners, kShadow, 0.6, kShadow);
    }
  }
}

/// The material's colour in a light from above the viewer's left shoulder, the same from either side.
Color PanelPainter::faceColor(std::size_t mesh, std::span<osg::Pnt3f const> corners) const {
  osg::Color3f const base = _figure.content().materials[_figure.content().meshes[mesh].material].diffuse;
  osg::Vec3f normal;
  for (std::size_t i = 2; i < corners.size(); ++i)
    normal = normal + osg::cross(corners[i - 1] - corners[0], corners[i] - corners[0]);
  normal = osg::normalized(normal);
  if (osg::dot(normal, _frame.view.direction()) > 0) normal = -normal;
  osg::Vec3f const aside = osg::normalized(osg::cross(_frame.view.direction(), osg::Vec3f(0, 1, 0)));
  osg::Vec3f const light = osg::normalized(-_frame.view.direction() + osg::Vec3f(0, 0.9F, 0) - aside * 0.7F);
  double const shade = 0.45 + 0.6 * std::clamp(static_cast<double>(osg::dot(normal, light)), 0.0, 1.0);
  auto const component = [shade](float value) {
    // Black and white alike keep some of the shading.
    double const lifted = 0.25 + 0.62 * std::clamp(static_cast<double>(value), 0.0, 1.0);
    return std::min(1.0, lifted * shade);
  };
  return {component(base[0]), component(base[1]), component(base[2])};
}

void PanelPainter::addFaces(std::size_t index, std::vector<SeenFace>& faces) const {
  std::size_t const meshIndex = _figure.meshes()[index].mesh;
  ImportedMesh const& mesh = _figure.content().meshes[meshIndex];
  std::vector<osg::Pnt3f> const& vertices = _frame.pose.meshes[index];
  double const outwards = _figure.isClosed(meshIndex) ? signedVolume(mesh, vertices) : 0;
  std::vector<osg::Pnt3f> corners;
  std::size_t first = 0;
  for (osg::UInt32 const size : mesh.faceSizes) {
    SeenFace face;
    corners.clear();
    for (std::size_t k = first; k < first + size; ++k) {
      osg::Pnt3f const& vertex = vertices[mesh.indices[k]];
      corners.push_back(vertex);
    }
    first += size;
    std::vector<SeenPoint> const part = _frame.view.seePart(corners);
    for (SeenPoint const& seen : part) {
      face.corners.push_back({place(seen), seen.depth});
      face.depth += seen.depth / static_cast<double>(part.size());
    }
    if (part.size() < std::min<std::size_t>(size, 3)) continue;
    if (size > 2 && outwards * turnOf(face.corners) > 0) continue;
    face.color = mix(faceColor(meshIndex, corners), kBackground, fade(face.depth) * 0.45);
    faces.push_back(std::move(face));
  }
}

void PanelPainter::drawMeshes() {
  std::vector<SeenFace> faces;
  for (std::size_t i = 0; i < _frame.pose.meshes.size(); ++i) addFaces(i, faces);
  bool const outlined = faces.size() <= kMostOutlinedFaces;
  for (SeenFace& face : faces) face.line = mix(face.color, kMiddle, outlined ? 0.35 : 0);
  _canvas.isOfPoints() ? drawByDepth(faces, outlined) : drawInOrder(faces);
}

void PanelPainter::drawByDepth(std::span<SeenFace const> faces, bool outlined) {
  DepthLayer layer(_box);
  // So that a face does not hide its own outline.
  double const nearer = std::max(0.0, _farthest - _nearest) * kOutlineOffset;
  for (SeenFace const& face : faces) {
    std::size_t const count = face.corners.size();
    if (count == 1) layer.addDisc(face.corners[0], 1.2, face.line);
    if (count == 2) layer.addLine(face.corners[0], face.corners[1], 0.9, face.line);
    if (count < 3) continue;
    layer.addFace(face.corners, face.color);
    for (std::size_t i = 0; outlined && i < count; ++i) {
      DeepPoint from = face.corners[i];
      DeepPoint to = face.corners[(i + 1) % count];
      from.depth -= std::min(nearer, from.depth / 2);
      to.depth -= std::min(nearer, to.depth / 2);
      layer.addLine(from, to, 0.45, face.line);
    }
  }
  layer.draw(_canvas);
}

/// A drawing of lines and areas has no pixels: from the back to the front, so that what is hidden is painted over. Faces
/// that are large beside others can come in the wrong order.
void PanelPainter::drawInOrder(std::vector<SeenFace>& faces) {
  std::stable_sort(faces.begin(), faces.end(),
                   [](SeenFace const& a, SeenFace const& b) { return a.depth > b.depth; });
  std::vector<Point> corners;
  for (SeenFace const& face : faces) {
    corners.clear();
    for (DeepPoint const& corner : face.corners) corners.push_back(corner.at);
    if (corners.size() == 1) {
      _canvas.fillDisc(corners[0], 1.2, face.line);
    } else if (corners.size() == 2) {
      _canvas.drawRod(corners[0], corners[1], 0.9, face.line);
    } else {
      _canvas.fillPolygon(corners, face.color, 0.45, face.line);
    }
  }
}

void drawMoment(FilmFrame const& frame, SceneFigure const& figure, FilmStage const& stage, Box const& box,
                Canvas& canvas) {
  PanelPainter(frame, figure, stage, box, canvas).paint();
  canvas.expose(box, frame.exposure);
}

/// Several moments on one piece of film: the mean of their pixels.
class Blend {
 public:
  explicit Blend(Box const& box) : _box(box) {}

  void add(FilmFrame const& frame, SceneFigure const& figure, FilmStage const& stage) {
    Box const whole{0, 0, _box.width(), _box.height()};
    Canvas single(PictureFormat::Png, whole.width(), whole.height());
    drawMoment(frame, figure, stage, whole, single);
    std::vector<std::uint32_t> const pixels = single.pixels();
    _width = single.pixelWidth();
    _sums.resize(pixels.size());
    for (std::size_t i = 0; i < pixels.size(); ++i) {
      for (unsigned k = 0; k < 3; ++k) _sums[i][k] += pixels[i] >> (8 * k) & 0xFFU;
    }
    ++_count;
  }

  void draw(Canvas& canvas) const {
    std::vector<std::uint32_t> mean;
    mean.reserve(_sums.size());
    for (auto const& sum : _sums) {
      std::uint32_t pixel = 0;
      for (unsigned k = 0; k < 3; ++k) pixel |= (sum[k] + _count / 2) / _count << (8 * k);
      mean.push_back(pixel);
    }
    canvas.drawPixels(mean, _width, _box);
  }

 private:
  Box _box;
  std::vector<std::array<std::uint32_t, 3>> _sums;
  std::size_t _width = 0;
  std::uint32_t _count = 0;
};

}  // namespace

FilmStage::FilmStage(std::span<FilmFrame const> frames, SceneFigure const& figure) {
  osg::BoxVolume all;
  osg::Pnt3f low;
  osg::Pnt3f high;
  for (FilmFrame const& frame : frames) {
    osg::BoxVolume const box = boundsOf(frame.pose, figure);
    box.getBounds(low, high);
    if (all.isEmpty() && osg::length(high - low) > 0) figureSize = osg::length(high - low);
    all.extendBy(box);
  }
  all.getBounds(low, high);
  osg::Vec3f const size = high - low;
  center = {(low.x() + high.x()) / 2, low.y(), (low.z() + high.z()) / 2};
  float const wanted = std::max({0.75F * std::hypot(size.x(), size.z()), 0.5F * size.y()});
  radius = wanted > 0 ? wanted : 1;
  gridStep = roundStep(radius / 5);
}

void drawFilmPanel(FilmFrame const& frame, SceneFigure const& figure, FilmStage const& stage, Box const& box,
                   Canvas& canvas) {
  if (frame.blend.empty()) {
    drawMoment(frame, figure, stage, box, canvas);
    return;
  }
  Blend blend(box);
  blend.add(frame, figure, stage);
  for (FilmFrame const& moment : frame.blend) blend.add(moment, figure, stage);
  blend.draw(canvas);
}

}  // namespace knanim
