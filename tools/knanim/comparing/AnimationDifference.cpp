#include "knanim/comparing/AnimationDifference.h"

#include "knanim/support/Text.h"
#include "model/fields/Ref.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <tuple>

namespace knanim {
namespace {

/// Owner and animation: what is missing, added or renamed as a whole.
using Group = std::pair<std::string, std::string>;
using CurvesOfGroup = std::map<std::string, std::vector<HarvestedCurve const*>>;
using Groups = std::map<Group, CurvesOfGroup>;

Groups group(AnimationHarvest const& all) {
  Groups groups;
  for (HarvestedCurve const& curve : all.curves)
    groups[{curve.owner, curve.animation}][curve.channel].push_back(&curve);
  return groups;
}

std::size_t countCurves(CurvesOfGroup const& curves) {
  std::size_t count = 0;
  for (auto const& [channel, list] : curves) count += list.size();
  return count;
}

std::string describe(Group const& group) {
  return group.first + (group.second.empty() ? "" : " [" + group.second + ']');
}

bool isSame(CurvesOfGroup const& a, CurvesOfGroup const& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](auto const& x, auto const& y) {
    return x.first == y.first &&
           std::equal(x.second.begin(), x.second.end(), y.second.begin(), y.second.end(),
                      [](auto const* p, auto const* q) { return p->form == q->form; });
  });
}

double placed(CurveForm const& form, float time) {
  return static_cast<double>(time) * form.scale + form.offset;
}

/// Keys of the first that the second does not have.
std::size_t countMoved(CurveForm const& a, CurveForm const& b) {
  std::multiset<std::pair<double, float>> there;
  for (BezierKey const& key : b.keys) there.insert({placed(b, key.time), key.value});
  std::size_t moved = 0;
  for (BezierKey const& key : a.keys) {
    auto const found = there.find({placed(a, key.time), key.value});
    if (found == there.end())
      ++moved;
    else
      there.erase(found);
  }
  return moved;
}

/// All keys, what is between them, and a second around.
std::vector<double> timesOf(CurveForm const& a, CurveForm const& b) {
  std::set<double> keys;
  for (CurveForm const* form : {&a, &b}) {
    for (BezierKey const& key : form->keys) {
      if (double const time = placed(*form, key.time); std::isfinite(time)) keys.insert(time);
    }
  }
  std::vector<double> times(keys.begin(), keys.end());
  if (times.empty()) return {0};
  std::size_t const count = times.size();
  for (std::size_t i = 1; i < count; ++i) times.push_back((times[i - 1] + times[i]) / 2);
  times.push_back(times[0] - 1);
  times.push_back(times[count - 1] + 1);
  return times;
}

SceneCurve readable(osg::AnimNodePtr const& node) {
  return {node, osg::dcast<osg::AnimCurvePtr>(node->getCore()), {}, ChannelKind::Translation, 0};
}

void compareValues(CurveForm const& a, CurveForm const& b, CurveDifference& result) {
  osg::Ref<osg::AnimNode> const first = makeCurveNode(a);
  osg::Ref<osg::AnimNode> const second = makeCurveNode(b);
  std::array<SceneCurve, 2> const curves = {readable(first.get()), readable(second.get())};
  CurveReader reader(curves);
  for (double const time : timesOf(a, b)) {
    reader.evaluate(time);
    double const difference = std::abs(static_cast<double>(reader.value(0)) - reader.value(1));
    // What is no number is as far off as can be.
    double const size = std::isnan(difference) ? INFINITY : difference;
    if (size <= result.largest) continue;
    result.largest = size;
    result.at = time;
  }
}

CurveDifference compareCurves(HarvestedCurve const& a, HarvestedCurve const& b) {
  CurveDifference result;
  result.label = a.label();
  result.animation = a.animation;
  result.keysBefore = a.form.keys.size();
  result.keysAfter = b.form.keys.size();
  result.isSwitched = a.isActive != b.isActive;
  result.repeatsOtherwise = a.cycles != b.cycles;
  if (a.form == b.form) return result;
  result.moved = countMoved(a.form, b.form);
  compareValues(a.form, b.form, result);
  return result;
}

bool isEqual(CurveDifference const& each, HarvestedCurve const& a, HarvestedCurve const& b,
             double tolerance) {
  if (each.isSwitched || each.repeatsOtherwise) return false;
  return a.form == b.form || (tolerance > 0 && each.largest <= tolerance);
}

double distance(HarvestedCache const& a, HarvestedCache const& b) {
  if (a.times != b.times) return INFINITY;
  double largest = 0;
  for (std::size_t i = 0; i < a.shapes.size(); ++i) {
    if (a.shapes[i].size() != b.shapes[i].size()) return INFINITY;
    for (std::size_t k = 0; k < a.shapes[i].size(); ++k)
      largest = std::max(largest, static_cast<double>(osg::length(a.shapes[i][k] - b.shapes[i][k])));
  }
  return largest;
}

/// Whether a cache is another one but for the rounding of a file that keeps offsets or other units of time.
bool isAlike(HarvestedCache const& a, HarvestedCache const& b) {
  constexpr float kRounding = 1e-5F;
  if (a.times.size() != b.times.size()) return false;
  float size = 0;
  float largest = 0;
  for (std::size_t i = 0; i < a.shapes.size(); ++i) {
    bool const isSameTime =
        std::abs(a.times[i] - b.times[i]) <= kRounding * std::max(1.F, std::abs(a.times[i]));
    if (!isSameTime || a.shapes[i].size() != b.shapes[i].size()) return false;
    for (std::size_t k = 0; k < a.shapes[i].size(); ++k) {
      size = std::max(size, osg::length(osg::Vec3f(a.shapes[i][k])));
      largest = std::max(largest, osg::length(a.shapes[i][k] - b.shapes[i][k]));
    }
  }
  return largest <= kRounding * size;
}

void compareCaches(AnimationHarvest const& first, AnimationHarvest const& second, double tolerance,
                   AnimationDifference& result) {
  std::map<std::pair<std::string, std::string>, HarvestedCache const*> there;
  for (HarvestedCache const& each : second.caches) there[{each.owner, each.name}] = &each;
  std::vector<HarvestedCache const*> missing;
  for (HarvestedCache const& each : first.caches) {
    auto const found = there.find({each.owner, each.name});
    if (found == there.end()) {
      missing.push_back(&each);
      continue;
    }
    double const largest = distance(each, *found->second);
    if (largest > tolerance)
      result.caches.push_back({each.owner, each.times.size(), found->second->times.size(), largest});
    else
      ++result.equal;
    there.erase(found);
  }
  for (auto old = missing.begin(); old != missing.end();) {
    auto const same =
        std::ranges::find_if(there, [&](auto const& each) { return isAlike(**old, *each.second); });
    if (same == there.end()) {
      ++old;
      continue;
    }
    result.renamed.push_back(describe({(*old)->owner, (*old)->name}) + " is " + describe(same->first));
    there.erase(same);
    old = missing.erase(old);
  }
  for (HarvestedCache const* each : missing)
    result.missing.push_back(describe({each->owner, each->name}) + ", " +
                             counted(each->times.size(), "shape"));
  for (auto const& [name, each] : there)
    result.added.push_back(describe(name) + ", " + counted(each->times.size(), "shape"));
}

/// Takes out of both what has the same curves under other names.
void takeRenamed(Groups& before, Groups& after, AnimationDifference& result) {
  for (auto old = before.begin(); old != before.end();) {
    auto const same = std::find_if(after.begin(), after.end(),
                                   [&old](auto const& each) { return isSame(old->second, each.second); });
    if (same == after.end()) {
      ++old;
      continue;
    }
    result.renamed.push_back(describe(old->first) + " is " + describe(same->first));
    after.erase(same);
    old = before.erase(old);
  }
}

/// The curves of one group that both scenes have.
bool compareGroup(Group const& name, CurvesOfGroup const& before, CurvesOfGroup const& after,
                  double tolerance, AnimationDifference& result,
                  std::function<bool(std::size_t)> const& progress, std::size_t& done) {
  for (auto const& [channel, curves] : before) {
    auto const found = after.find(channel);
    std::size_t const there = found == after.end() ? 0 : found->second.size();
    for (std::size_t i = 0; i < curves.size(); ++i) {
      if (!progress(++done)) return false;
      if (i >= there) {
        result.missing.push_back(describe(name) + ", " + channel);
        continue;
      }
      CurveDifference each = compareCurves(*curves[i], *found->second[i]);
      if (isEqual(each, *curves[i], *found->second[i], tolerance))
        ++result.equal;
      else
        result.curves.push_back(std::move(each));
    }
  }
  for (auto const& [channel, curves] : after) {
    auto const found = before.find(channel);
    for (std::size_t i = found == before.end() ? 0 : found->second.size(); i < curves.size(); ++i)
      result.added.push_back(describe(name) + ", " + channel);
  }
  return true;
}

}  // namespace

AnimationDifference compare(AnimationHarvest const& first, AnimationHarvest const& second, double tolerance,
                            std::function<bool(std::size_t)> const& progress) {
  AnimationDifference result;
  Groups before = group(first);
  Groups after = group(second);
  std::size_t done = 0;
  for (auto each = before.begin(); each != before.end();) {
    auto const found = after.find(each->first);
    if (found == after.end()) {
      ++each;
      continue;
    }
    if (!compareGroup(each->first, each->second, found->second, tolerance, result, progress, done))
      return result;
    after.erase(found);
    each = before.erase(each);
  }
  takeRenamed(before, after, result);
  for (auto const& [name, curves] : before)
    result.missing.push_back(describe(name) + ", " + counted(countCurves(curves), "curve"));
  for (auto const& [name, curves] : after)
    result.added.push_back(describe(name) + ", " + counted(countCurves(curves), "curve"));
  compareCaches(first, second, tolerance, result);
  std::stable_sort(result.curves.begin(), result.curves.end(),
                   [](CurveDifference const& a, CurveDifference const& b) { return a.largest > b.largest; });
  return result;
}

}  // namespace knanim
