#include "diagnosis/Faults.h"
#include "diagnosis/Holding.h"
#include "diagnosis/MotionWarnings.h"
#include "diagnosis/Refusal.h"
#include "evaluation/PlayingPlan.h"
#include "evaluation/SceneMaterials.h"
#include "evaluation/TreeWalk.h"
#include "knAnimEvaluator.h"
#include "knAnimManager.h"
#include "knFramePlayer.h"
#include "model/geometry/Geometry.h"
#include "model/scenedata/SceneRoots.h"
#include "model/sceneext/AnimClip.h"
#include "model/sceneext/CameraTrack.h"
#include "model/scenegraph/NodeQueries.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>

using osg::AnimCurve;
using osg::AnimCurvePtr;
using osg::AnimNode;
using osg::AnimNodePtr;
using osg::FieldContainerPtr;
using osg::NodePtr;

namespace {

using Reasons = std::vector<knStillnessReason>;

bool hasMotion(NodePtr const& node) {
  return osg::hasCore<AnimCurve>(node) || osg::hasCore<osg::TimeShapeCache>(node);
}

/// Channels that set the same under several names: the lens of a camera, and the colours of a light.
std::string_view setBy(std::string const& field) {
  if (field == "focalLength") return "fov";
  if (field == "temperature" || field == "glossy") return "diffuse";
  return field;
}

/// Whether a curve writes again what one of the same owner has written.
bool isSetAgain(AnimCurve const& curve, AnimCurve const& by) {
  std::string const& field = curve.getName();
  if (field == by.getName())
    return curve.getValueIndex() == by.getValueIndex() && curve.getVertexIndex() == by.getVertexIndex();
  if (setBy(field) == "fov") return true;
  // A temperature counts when it changes.
  auto const& keys = by.getControlPoints();
  auto const isFirst = [&](osg::CCPnt const& key) { return key.y() == keys[0].y(); };
  return by.getName() == "temperature" && !std::ranges::all_of(keys, isFirst);
}

/// Who holds which curves and shape caches in the scene.
class SceneOwners {
 public:
  struct Owner {
    FieldContainerPtr container;
    AnimNodePtr tree;
  };

  SceneOwners() {
    // The host is asked first: it may edit anything.
    std::vector<osg::MaterialPtr> const materials = findSceneMaterials();
    osg::MaterialPoolPtr const pool = knSceneData::getMaterialPool();
    addBelow(sceneRoot());
    if (pool) addBelow(pool->getCameraRoot());
    addBelow(knSceneDataManager::getSceneplateRoot(0));
    for (osg::MaterialPtr const& material : materials) addTreeOf(material, material);
    for (std::size_t i = 0; i < _owners.size(); ++i) {
      forEachNode(_owners[i].tree, [&](NodePtr const& node) {
        if (hasMotion(node)) addOwner(node->getCore(), i);
        return true;
      });
    }
  }

  std::vector<Owner> const& all() const { return _owners; }
  std::vector<std::size_t> const& of(FieldContainerPtr const& core) const {
    static std::vector<std::size_t> const none;
    auto const found = _ofCore.find(core);
    return found != _ofCore.end() ? found->second : none;
  }
  /// The curves of an owner that may write what a curve writes, in the order of its tree; of active nodes.
  std::vector<AnimCurvePtr> const& likeIn(std::size_t owner, AnimCurvePtr const& curve) {
    if (!_channels.contains(owner)) addChannels(owner);
    return _channels[owner][channelOf(curve)];
  }

 private:
  void addBelow(NodePtr const& root) {
    forEachAnimatedNode(root, [&](NodePtr const& node) {
      bool const isTrack = osg::hasCore<osg::CameraTrack>(node);
      addTreeOf(node, isTrack ? FieldContainerPtr(node->getParent()) : FieldContainerPtr(node));
      if (auto const* const camera = osg::coreOf<osg::UberCamera>(node))
        add(node, camera->getAnimationRoot());
      return !isTrack;
    });
  }
  void addTreeOf(osg::AttachmentContainerPtr const& holder, FieldContainerPtr const& owner) {
    osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(holder);
    if (attachment) add(owner, attachment->getAnimationRoot());
  }
  void add(FieldContainerPtr const& owner, AnimNodePtr const& tree) {
    if (owner.isAlive() && tree.isAlive() && _known.emplace(owner, tree).second)
      _owners.push_back({owner, tree});
  }
  void addOwner(FieldContainerPtr const& core, std::size_t owner) {
    auto& owners = _ofCore[core];
    if (owners.empty() || owners.back() != owner) owners.push_back(owner);
  }
  using Channel = std::tuple<std::string, osg::UInt32, osg::UInt32>;
  static Channel channelOf(AnimCurvePtr const& curve) {
    std::string const& field = std::as_const(*curve).getName();
    std::string_view const set = setBy(field);
    if (set == "fov" || set == "diffuse") return {std::string(set), 0, 0};
    return {field, curve->getValueIndex(), curve->getVertexIndex()};
  }
  void addChannels(std::size_t owner) {
    auto& channels = _channels[owner];
    forEachNode(_owners[owner].tree, [&](NodePtr const& node) {
      AnimCurvePtr const curve = osg::dcast<AnimCurvePtr>(node->getCore());
      if (curve && node->isActive()) channels[channelOf(curve)].push_back(curve);
      return node->isActive();
    });
  }

  std::vector<Owner> _owners;
  std::set<std::pair<FieldContainerPtr, AnimNodePtr>> _known;
  std::unordered_map<std::size_t, std::map<Channel, std::vector<AnimCurvePtr>>> _channels;
  std::unordered_map<FieldContainerPtr, std::vector<std::size_t>> _ofCore;
};

class Examination {
 public:
  /// What holds for everything. False when nothing else needs to be asked.
  bool lookAtWhole() {
    knAnimManager const& manager = *knAnimManager::the();
    if (!materialRoot().isAlive()) {
      add(knStillness::NoScene, {}, {}, NoSceneText);
      return false;
    }
    if (!_isSimulating) add(knStillness::SimulationOff, {}, {}, "the host's simulation switch is off");
    if (manager.playbackContextHint() == 1)
      add(knStillness::OnlySelection, {}, {},
          "the playback context hint 1 restricts evaluation to what the curve editor has selected");
    knFramePlayer const& player = knFramePlayer::the();
    if (player.isActive() && !(player.isTicked() && player.isApplied()))
      add(knStillness::NotStepped, {}, {},
          std::string("the frame player plays, but ") + (player.isTicked() ? "apply" : "tick") +
              " was not called since it began: call knFramePlayer::tick and then apply in each pass of the "
              "host's loop");
    knFramePlaybackParams const range = player.getPlaybackParams();
    if (player.isActive() && range.loop && range.rangeStart == range.rangeEnd)
      add(knStillness::BadPlayRange, {}, {}, "the frame player plays a loop of one frame");
    return true;
  }

  void lookAtTree(AnimNodePtr const& tree) {
    for (NodePtr node = tree->getParent(); node.isAlive(); node = node->getParent()) lookAtNode(node);
    std::vector<std::pair<AnimNodePtr, AnimCurvePtr>> places;
    bool isHeld = false;
    bool hasMotions = false;
    bool isWhole = true;
    forEachNode(tree, [&](NodePtr const& node) {
      // As evaluations do, past what is no animation node, with all that is below it.
      AnimNodePtr const animNode = osg::dcast<AnimNodePtr>(node);
      if (!animNode) return false;
      bool const isOn = lookAtNode(node);
      isWhole = isWhole && isOn;
      if (!hasMotion(node)) return isOn;
      hasMotions = true;
      isHeld = !_owners.of(node->getCore()).empty() || isHeld;
      if (AnimCurvePtr const curve = osg::dcast<AnimCurvePtr>(node->getCore())) {
        places.emplace_back(animNode, curve);
        lookAtCurve(animNode, curve);
      } else {
        lookAtCache(animNode, osg::dcast<osg::TimeShapeCachePtr>(node->getCore()));
      }
      return isOn;
    });
    if (!hasMotions && isWhole)
      add(knStillness::NoCurves, tree, {}, titleOf(tree) + " holds no curve and no shape cache");
    if (hasMotions && !isHeld) {
      std::string const title = titleOf(tree);
      add(knStillness::NotInScene, tree, {}, title + " moves nothing: " + describeNotHeld(tree, _membership));
    }
    // Owners of the host's own classes are asked here, and may do anything.
    for (auto const& [node, curve] : places) {
      // With all its owners at once: trees that share the curve ask no more.
      if (!_aimed.insert(curve).second) continue;
      for (std::size_t const owner : _owners.of(curve)) lookAtAim(node, curve, owner);
    }
  }

  /// Scene evaluations leave out clips and camera tracks: something else has to move them. One that is switched off or
  /// empty is told as such.
  void lookAtDriving(AnimNodePtr const& tree) {
    NodePtr top;
    bool isClip = false;
    for (NodePtr node = tree; node.isAlive(); node = node->getParent()) {
      if (std::optional<bool> const isDriven = askForDriving(node)) return;
      isClip = isClip || osg::hasCore<osg::AnimClip>(node);
      top = node;
    }
    auto const isTrack = [](FieldContainerPtr const& holder) {
      return osg::hasCore<osg::CameraTrack>(osg::dcast<NodePtr>(holder));
    };
    std::vector<FieldContainerPtr> const holders = findHolders(tree);
    isClip = isClip && (holders.empty() || top == NodePtr(knAnimManager::the()->clipStructureRoot()));
    if (!isClip && std::ranges::none_of(holders, isTrack)) return;
    bool hasStill = false;
    forEachNode(tree, [&](NodePtr const& node) {
      hasStill = hasStill || (hasMotion(node) && !isDrivenElsewhere(*node->getCore()));
      return !hasStill;
    });
    if (!hasStill) return;
    add(knStillness::NotStepped, tree, {},
        titleOf(tree) + (isClip ? ": a clip" : ": a camera track") +
            " is left out when the scene is evaluated, and nothing else has evaluated this one after 0 s: "
            "call knAnimManager::enqueue or evaluateByTime");
  }

  void lookAtAll(knStillnessOptions const& options) {
    _isOfScene = true;
    _tellsConstant = options.constantCurves;
    std::unordered_set<AnimNodePtr> trees;
    for (SceneOwners::Owner const& owner : _owners.all()) {
      bool const isNew = trees.insert(owner.tree).second;
      if (isNew && owner.tree.isAlive() && owner.tree->getNChildren() > 0) lookAtTree(owner.tree);
    }
    if (_owners.all().empty()) add(knStillness::NoCurves, {}, {}, "nothing in the scene has an animation");
  }

  Reasons take() { return std::move(_reasons); }
  void add(knStillness cause, AnimNodePtr const& node, FieldContainerPtr const& subject, std::string text) {
    _reasons.push_back({cause, node, subject, onOneLine(std::move(text))});
  }

 private:
  /// Whether what is below takes part.
  bool lookAtNode(NodePtr const& node) {
    AnimNodePtr const animNode = osg::dcast<AnimNodePtr>(node);
    if (!node->isActive()) {
      if (_isOfScene && isPlayedByClips(node)) return false;
      add(knStillness::Inactive, animNode, {}, titleOfNode(node) + " is switched off");
      return false;
    }
    if (animNode && animNode->getHidden())
      add(knStillness::Hidden, animNode, {},
          titleOfNode(node) + " is hidden, and left out of the evaluation of a scene");
    if (animNode && animNode->getPlaying() && animNode->getPausing())
      add(knStillness::Paused, animNode, {},
          titleOfNode(node) +
              " is in the playing queue, but paused: knAnimManager::pause(tree, false) ends that");
    if (animNode) lookAtRun(animNode);
    return true;
  }
  void lookAtRun(AnimNodePtr const& node) {
    // A clock that went back stands before all of them.
    bool const isDue = _now >= node->getStartTime() && !(lastPassTime() >= node->getStartTime());
    if (node->getPlaying() && !node->getPausing() && isDue)
      add(knStillness::NotStepped, node, {},
          titleOf(node) +
              " is in the playing queue, but no pass was made since: call knAnimEvaluator::loop in each pass "
              "of the host's loop");
    if (hasBadPlayRange(*node))
      add(knStillness::BadPlayRange, node, {}, titleOf(node) + describePlayRange(*node));
    if (hasBadCycles(*node)) add(knStillness::BadCycles, node, {}, titleOf(node) + describeCycles(*node));
  }
  static std::string titleOfNode(NodePtr const& node) {
    AnimNodePtr const animNode = osg::dcast<AnimNodePtr>(node);
    return animNode ? titleOf(animNode) : titleOf(FieldContainerPtr(node));
  }

  /// Whether active clips play all curves and caches below a node that is switched off: clips share what they play.
  bool isPlayedByClips(NodePtr const& off) {
    bool hasMotions = false;
    bool isPlayed = true;
    forEachNode(off, [&](NodePtr const& node) {
      if (!isPlayed || !hasMotion(node)) return isPlayed;
      hasMotions = true;
      auto const& users = std::as_const(*node->getCore()).getParents();
      isPlayed = std::ranges::any_of(
          users, [this](NodePtr const& user) { return _clips.find(user, askForActiveClip); });
      return isPlayed;
    });
    return hasMotions && isPlayed;
  }
  /// Whether another tree that shares a curve or cache was evaluated, as a clip of a camera track's block.
  bool isDrivenElsewhere(osg::NodeCore const& core) {
    return std::ranges::any_of(core.getParents(),
                               [this](NodePtr const& user) { return _driven.find(user, askForDriving); });
  }
  static std::optional<bool> askForDriving(NodePtr const& node) {
    auto const* const animNode = osg::dcastTo<AnimNode>(node);
    if (animNode != nullptr && (animNode->getPlaying() || animNode->getLastEvaluationTime() != 0.F))
      return true;
    return node->isActive() ? std::nullopt : std::optional(false);
  }
  static std::optional<bool> askForActiveClip(NodePtr const& node) {
    if (!node->isActive()) return false;
    return osg::hasCore<osg::AnimClip>(node) ? std::optional(true) : std::nullopt;
  }

  void lookAtCurve(AnimNodePtr const& node, AnimCurvePtr const& curve) {
    std::string const title = titleIn(curve, firstOwner(curve));
    lookAtKeys(node, curve, title);
    if (node->getTotalScale() == 0.F)
      add(knStillness::NoTimeScale, node, curve, title + ": a scale of zero puts all keys at one time");
    if (std::string const text = describeSuffix(*curve); !text.empty())
      add(knStillness::OtherComponent, node, curve, title + text);
  }

  void lookAtKeys(AnimNodePtr const& node, AnimCurvePtr const& curve, std::string const& title) {
    auto const& keys = std::as_const(*curve).getControlPoints();
    if (keys.empty()) {
      add(knStillness::NoKeys, node, curve, title + " has no keys");
      return;
    }
    // Many nodes may share a long curve.
    auto const [known, isNew] = _keyFaults.try_emplace(curve);
    if (isNew) known->second = {findKeyFault(*curve), _tellsConstant && isConstant(keys)};
    auto const& [fault, isFlat] = known->second;
    if (fault) add(fault->cause, node, curve, title + fault->text);
    if (isFlat) add(knStillness::SameValues, node, curve, title + " has one value at all keys");
  }
  static bool isConstant(osg::MField<osg::CCPnt> const& keys) {
    return std::ranges::all_of(keys, [&](osg::CCPnt const& key) {
      return key.y() == keys.front().y() && key.inY() == 0.F && key.outY() == 0.F;
    });
  }

  void lookAtCache(AnimNodePtr const& node, osg::TimeShapeCachePtr const& cache) {
    std::string const title = titleIn(titleOf(node), firstOwner(cache));
    if (node->getTotalScale() == 0.F)
      add(knStillness::NoTimeScale, node, cache, title + ": a scale of zero puts all shapes at one time");
    lookAtShapes(node, cache, title);
    for (std::size_t const i : _owners.of(cache))
      lookAtGeometry(node, *cache, _owners.all()[i].container, title);
  }

  void lookAtShapes(AnimNodePtr const& node, osg::TimeShapeCachePtr const& cache, std::string const& title) {
    auto const [known, isNew] = _shapeFaults.try_emplace(cache);
    if (isNew) known->second = findShapeFaults(*cache);
    for (Fault const& fault : known->second) add(fault.cause, node, cache, title + fault.text);
  }
  static std::vector<Fault> findShapeFaults(osg::TimeShapeCache const& cache) {
    std::vector<Fault> faults;
    osg::TimeShapeData const* last = nullptr;
    bool agree = true;
    for (osg::TimeShapeDataPtr const& shape : cache.getShapes()) {
      if (!shape.isAlive()) continue;
      if (std::string const numbers = describeNumbers(*shape); !numbers.empty())
        faults.push_back({knStillness::BadKeys, ": " + numbers});
      if (last != nullptr && shape->getTime() < last->getTime())
        faults.push_back({knStillness::KeysOutOfOrder,
                          ": its shapes are not in order of time, as TimeShapeCache::addShape puts them"});
      std::string const text = last != nullptr && agree ? describeDisagreement(*last, *shape) : "";
      agree = agree && text.empty();
      if (!text.empty()) faults.push_back({knStillness::ShapesDisagree, ": " + text});
      last = &*shape;
    }
    if (last == nullptr) faults.push_back({knStillness::NoShapes, " holds no shapes"});
    return faults;
  }

  void lookAtGeometry(AnimNodePtr const& node, osg::TimeShapeCache const& cache,
                      FieldContainerPtr const& owner, std::string const& title) {
    auto const* const geometry = osg::coreOf<osg::Geometry>(osg::dcast<NodePtr>(owner));
    char const* what = nullptr;
    if (geometry == nullptr) {
      what = "has no geometry";
    } else if (osg::dcastTo<osg::GeoPositions3f>(geometry->getPositions()) == nullptr) {
      what = "has a geometry without vertices of three floats";
    }
    if (what != nullptr) {
      add(knStillness::NoGeometry, node, owner, title + " moves nothing: " + titleOf(owner) + " " + what);
      return;
    }
    for (osg::TimeShapeDataPtr const& shape : cache.getShapes()) {
      std::string const text = shape.isAlive() ? describeMisfit(*shape, *geometry) : std::string();
      if (text.empty()) continue;
      add(knStillness::WrongVertexCount, node, owner, title + ": " + text);
      return;
    }
  }

  void lookAtAim(AnimNodePtr const& node, AnimCurvePtr const& curve, std::size_t owner) {
    FieldContainerPtr const container = _owners.all()[owner].container;
    FieldContainerPtr const aim = aimOf(curve, container);
    if (!curve.isAlive() || !node.isAlive() || !container.isAlive()) return;
    std::string const title = titleIn(curve, container);
    if (!aim.isAlive()) {
      add(knStillness::NoAim, node, container,
          title + " moves nothing: " + describeNoAim(container, curve->getName()));
      return;
    }
    std::string const& field = std::as_const(*curve).getName();
    if (std::optional<knStillness> const cause = findRefusal(aim, field, curve->getValueIndex())) {
      if (isOfFlightOrTrack(*curve, aim)) return;
      add(*cause, node, aim,
          title + " moves nothing: " + describeRefusal(aim, field, curve->getValueIndex(), *cause));
      return;
    }
    auto const& curves = _owners.likeIn(owner, curve);
    auto const place = std::ranges::find(curves, curve);
    if (place == curves.end()) return;
    auto const later = std::find_if(place + 1, curves.end(), [&](AnimCurvePtr const& other) {
      return other.isAlive() && other != curve && !other->isEmpty() && isSetAgain(*curve, *other) &&
             aimOf(other, container) == aim && !findRefusal(aim, other->getName(), other->getValueIndex());
    });
    if (later != curves.end() && curve.isAlive())
      add(knStillness::Overwritten, node, *later,
          title + " is overwritten by " + titleOf(*later) + ", which sets the same after it");
  }

  FieldContainerPtr firstOwner(FieldContainerPtr const& core) const {
    auto const& owners = _owners.of(core);
    return owners.empty() ? FieldContainerPtr() : _owners.all()[owners.front()].container;
  }
  /// With the name of the object that has it.
  static std::string titleIn(AnimCurvePtr const& curve, FieldContainerPtr const& owner) {
    return titleIn(titleOf(curve), owner);
  }
  static std::string titleIn(std::string const& title, FieldContainerPtr const& owner) {
    std::string const name = osg::nameOf(osg::dcast<osg::AttachmentContainerPtr>(owner));
    return title + (name.empty() ? "" : " of '" + name + "'");
  }

  static FieldContainerPtr aimOf(AnimCurvePtr const& curve, FieldContainerPtr const& owner) {
    FieldContainerPtr aim;
    std::vector<FieldContainerPtr> parents;
    knAnimEvaluator::the()->computeAim(curve, owner, aim, parents);
    return aim;
  }

  // By the host, which may edit anything.
  bool const _isSimulating = knAnimManager::simulationEnabled();
  double const _now = knAnimManager::getSimulationTime();
  SceneOwners _owners;
  SceneMembership _membership;
  AnswersFromAbove _clips;
  AnswersFromAbove _driven;
  bool _isOfScene = false;
  bool _tellsConstant = true;
  std::unordered_set<AnimCurvePtr> _aimed;
  std::unordered_map<AnimCurvePtr, std::pair<std::optional<Fault>, bool>> _keyFaults;
  std::unordered_map<osg::TimeShapeCachePtr, std::vector<Fault>> _shapeFaults;
  Reasons _reasons;
};

Reasons notAlive() {
  return {{knStillness::NotAlive, {}, {}, "the handle is null, or of a container that is gone"}};
}

}  // namespace

Reasons knDiagnosis::whyStill(AnimNodePtr const& argument) {
  AnimNodePtr const tree = argument;
  if (!tree.isAlive()) return notAlive();
  Examination examination;
  if (!tree.isAlive()) return notAlive();
  if (examination.lookAtWhole()) {
    examination.lookAtDriving(tree);
    examination.lookAtTree(tree);
  }
  return examination.take();
}

Reasons knDiagnosis::whyStill(AnimCurvePtr const& argument) {
  AnimCurvePtr const curve = argument;
  if (!curve.isAlive()) return notAlive();
  Examination examination;
  if (!curve.isAlive()) return notAlive();
  if (!examination.lookAtWhole()) return examination.take();
  bool hasNode = false;
  auto const& parents = std::as_const(*curve).getParents();
  for (NodePtr const& user : std::vector<NodePtr>(parents.begin(), parents.end())) {
    AnimNodePtr const node = osg::dcast<AnimNodePtr>(user);
    if (!node.isAlive()) continue;
    hasNode = true;
    examination.lookAtTree(node);
  }
  if (!hasNode && curve.isAlive())
    examination.add(knStillness::NotInScene, {}, curve, titleOf(curve) + " is the core of no animation node");
  return examination.take();
}

Reasons knDiagnosis::whyStill() { return whyStill(knStillnessOptions()); }

Reasons knDiagnosis::whyStill(knStillnessOptions const& optionArguments) {
  knStillnessOptions const options = optionArguments;
  Examination examination;
  if (examination.lookAtWhole()) examination.lookAtAll(options);
  return examination.take();
}

void knDiagnosis::forgetWarnings() { MotionWarnings::forget(); }

void knDiagnosis::setWarnings(bool on) { MotionWarnings::setOn(on); }
