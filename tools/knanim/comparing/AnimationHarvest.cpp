#include "knanim/comparing/AnimationHarvest.h"

#include "knanim/scene/HungCurves.h"
#include "knanim/scene/SceneObjects.h"
#include "knanim/support/Text.h"

namespace knanim {
namespace {

/// A node of an animation tree on the way down.
struct Branch {
  osg::AnimNodePtr node;
  std::string animation;
  std::vector<std::int32_t> cycles;
  bool isActive = true;
};

std::string nameOf(osg::NodePtr const& node) {
  char const* const name = osg::NodeUtils::getName(node);
  return printable(name != nullptr ? name : "");
}

std::string channelOf(osg::AnimCurve const& curve) {
  constexpr std::string_view kLetters = "XYZW";
  osg::UInt32 const index = curve.getValueIndex();
  return printable(curve.getName()) + '.' +
         (index < kLetters.size() ? std::string(1, kLetters[index]) : std::to_string(index));
}

HarvestedCache take(osg::TimeShapeCache const& cache, Branch const& branch, std::string const& owner) {
  HarvestedCache result;
  result.owner = owner;
  result.name = nameOf(branch.node);
  for (osg::TimeShapeDataPtr const& shape : cache.getShapes()) {
    if (!shape.isAlive()) continue;
    result.times.push_back(shape->getTime() * branch.node->getTotalScale() + branch.node->getTotalOffset());
    result.shapes.push_back(shape->getPositions().getValues());
  }
  return result;
}

void addTree(osg::AnimNodePtr const& root, std::string const& owner, AnimationHarvest& all) {
  std::vector<Branch> pending{{root, "", {}, true}};
  while (!pending.empty()) {
    Branch branch = std::move(pending.back());
    pending.pop_back();
    branch.isActive = branch.isActive && branch.node->isActive() && !branch.node->getHidden();
    branch.cycles.push_back(branch.node->getPostCycles());
    osg::NodeCorePtr const& core = branch.node->getCore();
    if (auto const* const curve = osg::dcastTo<osg::AnimCurve>(core)) {
      all.curves.push_back({owner, branch.animation, channelOf(*curve), branch.isActive && curve->getActive(),
                            branch.cycles, formOf(*curve, *branch.node)});
    } else if (auto const* const cache = osg::dcastTo<osg::TimeShapeCache>(core)) {
      all.caches.push_back(take(*cache, branch, owner));
    } else if (branch.node != root) {
      if (!branch.animation.empty()) branch.animation += '/';
      branch.animation += nameOf(branch.node);
    }
    for (osg::UInt32 i = branch.node->getNChildren(); i-- > 0;) {
      if (auto const child = osg::dcast<osg::AnimNodePtr>(branch.node->getChild(i)); child != nullptr)
        pending.push_back({child, branch.animation, branch.cycles, branch.isActive});
    }
  }
}

}  // namespace

AnimationHarvest harvest(AnimatedScene const& scene) {
  AnimationHarvest all;
  SceneObjects const objects(scene);
  for (SceneObject const& object : objects.all()) {
    osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(object.container);
    if (!attachment.isAlive() || attachment->getAnimationRoot() == nullptr) continue;
    addTree(attachment->getAnimationRoot(), object.path, all);
  }
  return all;
}

}  // namespace knanim
