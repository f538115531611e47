#include "diagnosis/MotionWarnings.h"
#include "evaluation/CycleTime.h"
#include "evaluation/WriteOrder.h"
#include "knAnimEvaluator.h"
#include "model/sceneext/TimeShapeCache.h"

#include <algorithm>
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

using osg::Pnt3f;
using osg::TimeShapeData;
using osg::Vec3f;

namespace {

/// A cache at one time: where its shapes stand, and what is to be shown.
class ShapesAtTime {
 public:
  ShapesAtTime(osg::AnimNode const& node, osg::TimeShapeCache const& cache, float time)
      : _cache(cache),
        _offset(node.getTotalOffset()),
        _scale(node.getTotalScale()),
        _time(wrapByCycles(node, time)) {
    osg::TimeShapeDataPtr const hit = cache.findShape(_time, _offset, _scale);
    shape = hit.isAlive() ? &*hit : findOutside();
    if (shape == nullptr) findAround();
  }

  /// The part of the way from `lower` to `upper` is (time - placed(lower)) / (placed(upper) - placed(lower)).
  float fromLower() const { return _time - placed(*lower); }
  float lowerToUpper() const { return placed(*upper) - placed(*lower); }

  TimeShapeData const* shape = nullptr;  ///< to be shown as it is; else
  TimeShapeData const* lower = nullptr;  ///< these two are blended, if there are both
  TimeShapeData const* upper = nullptr;

 private:
  float placed(TimeShapeData const& data) const { return data.getTime() * _scale + _offset; }
  TimeShapeData const* at(std::size_t i) const {
    auto const& shapes = _cache.getShapes();
    return i < shapes.size() && shapes[i].isAlive() ? &*shapes[i] : nullptr;
  }

  /// Before and after all shapes the nearest one holds. With a negative scale the list runs backwards in time.
  TimeShapeData const* findOutside() const {
    std::size_t const count = _cache.getShapes().size();
    if (count == 0) return nullptr;
    TimeShapeData const* earliest = at(0);
    TimeShapeData const* latest = at(count - 1);
    if (_scale < 0.F) std::swap(earliest, latest);
    if (earliest != nullptr && placed(*earliest) > _time) return earliest;
    return latest != nullptr && _time > placed(*latest) ? latest : nullptr;
  }

  /// The upper one is the first that stands after the time, the lower one its neighbour in the list, which may be null.
  void findAround() {
    std::size_t const count = _cache.getShapes().size();
    bool const forwards = !(_scale < 0.F);
    for (std::size_t step = forwards ? 1 : 0; step < count; ++step) {
      std::size_t const i = forwards ? step : count - 1 - step;
      TimeShapeData const* const one = at(i);
      if (one == nullptr || !(placed(*one) > _time)) continue;
      upper = one;
      lower = forwards ? at(i - 1) : at(i + 1);
      return;
    }
  }

  osg::TimeShapeCache const& _cache;
  float _offset;
  float _scale;
  float _time;
};

template <class Element>
void copyWhole(osg::MField<Element> const& from, osg::MField<Element>* to) {
  if (to != nullptr && from.size() == to->size()) std::copy(from.begin(), from.end(), to->begin());
}

/// Blends the elements from `first` to `last`, as far as the array goes.
template <class Element>
void blend(osg::MField<Element> const& lower, osg::MField<Element> const& upper, float way, float length,
           osg::MField<Element>* to, std::size_t first, std::size_t last) {
  static_assert(sizeof(Element) == 3 * sizeof(float));
  if (to == nullptr) return;
  last = std::min(last, to->size());
  if (first >= last) return;
  float const* const a = &lower[first][0];
  float const* const b = &upper[first][0];
  float* const out = &(*to)[first][0];
  for (std::size_t i = 0; i < 3 * (last - first); ++i) out[i] = way * ((b[i] - a[i]) / length) + a[i];
}

/// The arrays of a geometry, null where it has none of the class that can be written.
struct VertexArrays {
  explicit VertexArrays(osg::Geometry const& geometry) {
    if (auto* const property = osg::dcastTo<osg::GeoPositions3f>(geometry.getPositions())) {
      positions = &property->getValues();
    }
    if (auto* const property = osg::dcastTo<osg::GeoNormals3f>(geometry.getNormals())) {
      normals = &property->getValues();
    }
  }
  /// A shape need not have both.
  bool fit(TimeShapeData const& shape) const {
    return fits(shape.getPositions(), positions) && fits(shape.getNormals(), normals);
  }
  template <class Element>
  static bool fits(osg::MField<Element> const& from, osg::MField<Element> const* to) {
    return to == nullptr || from.empty() || from.size() == to->size();
  }

  osg::MField<Pnt3f>* positions = nullptr;
  osg::MField<Vec3f>* normals = nullptr;
};

/// False when the two shapes do not fit together.
bool blendShapes(ShapesAtTime const& shapes, VertexArrays const& arrays) {
  TimeShapeData const& lower = *shapes.lower;
  TimeShapeData const& upper = *shapes.upper;
  std::size_t const count = lower.getPositions().size();
  if (upper.getPositions().size() != count || lower.getNormals().size() != count ||
      upper.getNormals().size() != count) {
    return false;
  }
  float const way = shapes.fromLower();
  float const length = shapes.lowerToUpper();
  tbb::task_group_context context(tbb::task_group_context::isolated);
  tbb::parallel_for(
      tbb::blocked_range<std::size_t>(0, count, 1),
      [&](tbb::blocked_range<std::size_t> const& range) {
        blend(lower.getPositions(), upper.getPositions(), way, length, arrays.positions, range.begin(),
              range.end());
        blend(lower.getNormals(), upper.getNormals(), way, length, arrays.normals, range.begin(),
              range.end());
      },
      tbb::auto_partitioner(), context);
  return true;
}

void announceShape(osg::GeometryPtr const& geometry) {
  osg::GeoPositionsPtr const positions = geometry->getPositions();
  osg::GeoNormalsPtr const normals = geometry->getNormals();
  announce(positions, osg::BitVector::all());
  announce(normals, osg::BitVector::all());
  announce(geometry, osg::GeometryBase::PositionsFieldMask | osg::GeometryBase::NormalsFieldMask);
}

}  // namespace

void knAnimEvaluator::evaluateTimeShapeCaches(TimeShapeCacheMap const& caches, float time) {
  for (auto const& [node, geometries] : caches) evaluateTimeShapeCaches(node, geometries, time);
}

void knAnimEvaluator::evaluateTimeShapeCaches(osg::AnimNodePtr node,
                                              std::set<osg::GeometryPtr> const& geometries, float time) {
  for (osg::GeometryPtr const& geometry : geometries) {
    // Whoever hears of one geometry may destroy the others, or the cache.
    if (!node.isAlive()) return;
    auto const* const cache = osg::dcastTo<osg::TimeShapeCache>(node->getCore());
    if (cache == nullptr) return;
    if (!geometry.isAlive()) continue;
    ShapesAtTime const shapes(*node, *cache, time);
    VertexArrays const arrays(*geometry);
    if (shapes.shape != nullptr) {
      copyWhole(shapes.shape->getPositions(), arrays.positions);
      copyWhole(shapes.shape->getNormals(), arrays.normals);
    } else if (shapes.lower != nullptr && shapes.upper != nullptr && !blendShapes(shapes, arrays)) {
      MotionWarnings::noteDisagreement(node, geometry, *shapes.lower, *shapes.upper);
      return;
    }
    TimeShapeData const* const shown = shapes.shape != nullptr ? shapes.shape : shapes.lower;
    if (shown != nullptr && !arrays.fit(*shown)) [[unlikely]]
      MotionWarnings::noteMisfit(node, geometry, *shown);
    announceShape(geometry);
  }
}

knAnimEvaluator::SortedCaches knAnimEvaluator::sortCaches(TimeShapeCacheMap const& caches, float time) const {
  knWriteOrder order;
  std::vector<TimeShapeCacheMap::const_iterator> entries;
  for (auto entry = caches.begin(); entry != caches.end(); ++entry) {
    if (!entry->first.isAlive()) continue;
    order.add(entry->first, time);
    entries.push_back(entry);
  }
  SortedCaches sorted;
  for (std::size_t const place : order.get())
    sorted.emplace_back(entries[place]->first, entries[place]->second);
  return sorted;
}
