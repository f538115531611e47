#include "diagnosis/MotionWarnings.h"

#include "diagnosis/Holding.h"
#include "diagnosis/Refusal.h"
#include "model/scenedata/SceneRoots.h"
#include "model/utils/knLog.h"

#include <set>
#include <tuple>
#include <utility>

using osg::AnimNodePtr;
using osg::FieldContainerPtr;
using osg::UInt32;

namespace {

/// Beyond so many the log is no help; knDiagnosis lists all.
constexpr std::size_t MostWarnings = 1000;

struct Told {
  std::set<std::tuple<FieldContainerPtr, knStillness, UInt32>> causes;
  std::vector<std::string> refusals;  ///< noted, to be told
  std::vector<AnimNodePtr> newTrees;
  std::set<MotionWarnings::Mistake> mistakes;
  bool isOn = true;
};

Told& told() {
  static Told& instance = *new Told;  // evaluations may come from the destructors of statics
  return instance;
}

/// Whether nothing more is told of a cause.
bool isTold(FieldContainerPtr const& subject, knStillness cause, UInt32 detail) {
  auto const& causes = told().causes;
  return !told().isOn || causes.size() > MostWarnings || causes.contains({subject, cause, detail});
}

/// Whether to tell of a cause: once for each subject.
bool isNew(FieldContainerPtr const& subject, knStillness cause, UInt32 detail = 0) {
  return !isTold(subject, cause, detail) && told().causes.emplace(subject, cause, detail).second;
}

/// The line itself, or that the log is full.
std::string lineOf(std::string const& text) {
  if (told().causes.size() <= MostWarnings) return onOneLine(text);
  return "further animations that move nothing are not reported; knDiagnosis::whyStill lists all";
}

}  // namespace

void MotionWarnings::noteRefusal(FieldContainerPtr const& curve, FieldContainerPtr const& aim,
                                 std::string const& field, UInt32 valueIndex) {
  std::optional<knStillness> const cause = findRefusal(aim, field, valueIndex);
  auto const* const object = osg::dcastTo<osg::AnimCurve>(curve);
  bool const hasCurve = object != nullptr;
  FieldContainerPtr const& subject = hasCurve ? curve : aim;
  UInt32 const detail = hasCurve ? 0 : valueIndex;
  if (!cause || isTold(subject, *cause, detail) || (hasCurve && isOfFlightOrTrack(*object, aim))) return;
  isNew(subject, *cause, detail);
  std::string const who = hasCurve ? titleOf(osg::dcast<osg::AnimCurvePtr>(curve)) : "a value";
  told().refusals.push_back(
      lineOf(who + " moves nothing: " + describeRefusal(aim, field, valueIndex, *cause)));
  hasRefusals = true;
}

void MotionWarnings::noteNoAim(FieldContainerPtr const& curve, FieldContainerPtr const& owner) {
  auto const* const object = osg::dcastTo<osg::AnimCurve>(curve);
  if (object == nullptr || object->isEmpty() || !owner.isAlive() || !isNew(curve, knStillness::NoAim)) return;
  told().refusals.push_back(lineOf(titleOf(osg::dcast<osg::AnimCurvePtr>(curve)) +
                                   " moves nothing: " + describeNoAim(owner, object->getName())));
  hasRefusals = true;
}

void MotionWarnings::noteDisagreement(AnimNodePtr const& node, FieldContainerPtr const& geometry,
                                      osg::TimeShapeData const& lower, osg::TimeShapeData const& upper) {
  std::string const text = describeDisagreement(lower, upper);
  if (text.empty() || !isNew(node->getCore(), knStillness::ShapesDisagree)) return;
  told().refusals.push_back(lineOf(titleOf(node) + " of " + titleOf(geometry) + ": " + text));
  hasRefusals = true;
}

void MotionWarnings::noteMisfit(AnimNodePtr const& node, osg::GeometryPtr const& geometry,
                                osg::TimeShapeData const& shape) {
  std::string const text = describeMisfit(shape, *geometry);
  if (text.empty() || !isNew(node->getCore(), knStillness::WrongVertexCount, geometry.getContainerId()))
    return;
  told().refusals.push_back(
      lineOf(titleOf(node) + " of " + titleOf(FieldContainerPtr(geometry)) + ": " + text));
  hasRefusals = true;
}

void MotionWarnings::tellMistake(Mistake mistake, char const* text) {
  if (told().isOn && told().mistakes.insert(mistake).second) knLog::warning(text);
}

void MotionWarnings::tellFault(FieldContainerPtr const& subject, knStillness cause, std::string const& text) {
  if (isNew(subject, cause)) knLog::warning(lineOf(text).c_str());
}

void MotionWarnings::tellNotedRefusals() {
  hasRefusals = false;
  for (std::string const& line : std::exchange(told().refusals, {})) knLog::warning(line.c_str());
}

void MotionWarnings::noScene() {
  if (isNew({}, knStillness::NoScene)) knLog::warning(NoSceneText);
}

void MotionWarnings::treeWithoutOwner(AnimNodePtr const& tree) {
  if (!materialRoot().isAlive()) {
    noScene();
  } else if (isNew(tree, knStillness::NotInScene)) {
    SceneMembership scene;
    std::string const title = titleOf(tree);
    knLog::warning(lineOf(title + " moves nothing: " + describeNotHeld(tree, scene)).c_str());
  }
}

void MotionWarnings::noteNewTree(AnimNodePtr const& tree) {
  // A host that never evaluates a scene never comes for them.
  constexpr std::size_t MostTrees = 100'000;
  if (!told().isOn || told().newTrees.size() >= MostTrees) return;
  told().newTrees.push_back(tree);
  hasNewTrees = true;
}

void MotionWarnings::checkNewTrees() {
  hasNewTrees = false;
  struct Outside {
    FieldContainerPtr holder;
    AnimNodePtr first;
    std::size_t count = 0;
  };
  std::vector<Outside> found;  // in the order of the trees, which come owner by owner
  SceneMembership scene;
  for (AnimNodePtr const& tree : std::exchange(told().newTrees, {})) {
    FieldContainerPtr const outside = findOutside(tree, scene);
    if (!outside.isAlive() || !isNew(tree, knStillness::NotInScene)) continue;
    if (found.empty() || found.back().holder != outside) found.push_back({outside, tree});
    ++found.back().count;
  }
  std::vector<std::string> lines;
  for (auto const& [holder, first, count] : found) {
    std::string text = count == 1 ? titleOf(first) + " moves nothing: it hangs on "
                                  : std::to_string(count) + " animations move nothing: they hang on ";
    lines.push_back(lineOf(text + describeOutside(holder)));
  }
  for (std::string const& line : lines) knLog::warning(line.c_str());
}

void MotionWarnings::setOn(bool on) { told().isOn = on; }

void MotionWarnings::forget() {
  told().causes.clear();
  told().mistakes.clear();
}
