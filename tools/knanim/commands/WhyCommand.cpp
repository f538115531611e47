#include "knAnimEvaluator.h"
#include "knCurves.h"
#include "knDiagnosis.h"
#include "knanim/commands/Commands.h"
#include "knanim/scene/ChannelPath.h"
#include "knanim/scene/LoadedScene.h"
#include "knanim/support/Console.h"
#include "knanim/support/Text.h"

#include <algorithm>

namespace knanim {
namespace {

constexpr std::size_t kMostReasons = 40;

using Reasons = std::vector<knStillnessReason>;

/// A curve that hangs on an object of the scene, and what it writes to.
struct OwnedCurve {
  osg::AnimCurvePtr curve;
  osg::FieldContainerPtr aim;
};

std::vector<OwnedCurve> curvesOf(SceneObject const& object) {
  std::vector<OwnedCurve> found;
  osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(object.container);
  if (!attachment.isAlive()) return found;
  std::vector<osg::AnimCurvePtr> curves;
  knAnimManager::the()->getAnimCurves(attachment->getAnimationRoot(), curves, false, true, false);
  for (osg::AnimCurvePtr const& curve : curves) {
    OwnedCurve& owned = found.emplace_back(OwnedCurve{curve, {}});
    std::vector<osg::FieldContainerPtr> parents;
    knAnimEvaluator::the()->computeAim(curve, object.container, owned.aim, parents);
  }
  return found;
}

bool writesTo(OwnedCurve const& owned, knAnimManager::knOSGChannelData const& channel) {
  return owned.aim.isAlive() && owned.aim.getContainerId() == channel.containerId &&
         owned.curve->getName() == channel.fieldName && owned.curve->getValueIndex() == channel.valueIndex;
}

bool isWithoutPlace(knStillnessReason const& reason) {
  return reason.cause == knStillness::NoAim || reason.cause == knStillness::NoField ||
         reason.cause == knStillness::NoComponent || reason.cause == knStillness::NotWritable;
}

/// In whole scenes most curves that stand still are meant to: they are counted.
std::size_t takeEvenCurves(Reasons& reasons) {
  std::size_t const count = reasons.size();
  std::erase_if(reasons,
                [](knStillnessReason const& reason) { return reason.cause == knStillness::SameValues; });
  return count - reasons.size();
}

void print(Reasons const& reasons, bool all, std::FILE* output) {
  std::size_t const shown = all ? reasons.size() : std::min(reasons.size(), kMostReasons);
  for (std::size_t i = 0; i < shown; ++i) printRow(output, "why", printable(reasons[i].text));
  if (shown < reasons.size())
    printRow(output, "", "... and " + grouped(reasons.size() - shown) + " more, listed with --all");
}

/// A curve that has what it needs: from when to when, and between which values.
std::string describe(osg::AnimCurve const& curve) {
  auto const& keys = curve.getControlPoints();
  auto const byValue = [](osg::CCPnt const& a, osg::CCPnt const& b) { return a.y() < b.y(); };
  auto const [low, high] = std::minmax_element(keys.begin(), keys.end(), byValue);
  return counted(keys.size(), "key") + " from " + shortest(keys.front().x()) + " to " +
         shortest(keys.back().x()) + " s, values from " + shortest(low->y()) + " to " + shortest(high->y());
}

/// Where nothing writes to a channel, what was meant to may hang on the object and go nowhere.
Reasons findLostCurves(SceneObject const& object) {
  osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(object.container);
  if (!attachment.isAlive()) return {};
  Reasons reasons = knDiagnosis::whyStill(attachment->getAnimationRoot());
  std::erase_if(reasons, [](knStillnessReason const& reason) { return !isWithoutPlace(reason); });
  return reasons;
}

void explain(SceneObjects const& objects, FoundChannel const& found, bool all, std::FILE* output) {
  Reasons reasons;
  std::vector<osg::AnimCurvePtr> driving;
  for (SceneObject const& object : objects.all()) {
    for (OwnedCurve const& owned : curvesOf(object)) {
      bool const isNew = std::find(driving.begin(), driving.end(), owned.curve) == driving.end();
      if (isNew && writesTo(owned, found.channel)) driving.push_back(owned.curve);
    }
  }
  printRow(output, "channel", printable(found.label()));
  printRow(output, "value", shortest(found.read()));
  if (driving.empty()) {
    printRow(output, "why", "no curve writes to it");
    print(findLostCurves(*found.object), all, output);
    return;
  }
  for (osg::AnimCurvePtr const& curve : driving) {
    Reasons own = knDiagnosis::whyStill(curve);
    if (own.empty()) printRow(output, "moved by", describe(*curve));
    reasons.insert(reasons.end(), own.begin(), own.end());
  }
  print(reasons, all, output);
}

void explainScene(LoadedScene const& scene, bool all, std::FILE* output) {
  Reasons reasons = knDiagnosis::whyStill(knStillnessOptions{.constantCurves = true});
  std::size_t const even = all ? 0 : takeEvenCurves(reasons);
  std::fprintf(output, "%s\n", scene.title().c_str());
  if (reasons.empty()) printRow(output, "faults", "none");
  print(reasons, all, output);
  if (even > 0)
    printRow(output, "still", counted(even, "curve") + " with one value at all keys, listed with --all");
}

}  // namespace

ExitCode why(WhyOptions const& options, Terminal terminal) {
  auto const loaded = LoadedScene::load(options.scene, terminal);
  if (auto const* failure = std::get_if<Failure>(&loaded)) return report(*failure, terminal);
  LoadedScene const& scene = *std::get<std::unique_ptr<LoadedScene>>(loaded);
  if (options.path.empty()) {
    explainScene(scene, options.all, terminal.output);
    return ExitCode::Ok;
  }
  SceneObjects const objects(scene.scene());
  auto const found = findChannel(objects, options.path);
  if (auto const* failure = std::get_if<Failure>(&found)) return report(*failure, terminal);
  std::fprintf(terminal.output, "%s\n", scene.title().c_str());
  explain(objects, std::get<FoundChannel>(found), options.all, terminal.output);
  return ExitCode::Ok;
}

}  // namespace knanim
