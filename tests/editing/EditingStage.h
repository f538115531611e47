#pragma once

#include "support/SceneStage.h"

namespace kntest {

/// A scene whose host destroys nodes, lists materials and makes names; at the end nothing may be left in the buffer.
class EditingStage : public SceneStage {
 protected:
  EditingStage() {
    destroyAsHost();
    knAnimManager::setGetAllMaterialsCB([](osg::NodePtr const&, std::vector<osg::MaterialPtr>& out) {
      knSceneData::getMaterialPool()->get(out);
    });
    knAnimManager::setGetUniqueNameCB(
        [](std::string const& name, std::vector<std::string>&) { return name + "'"; });
    _listening = knUtils::listen("pastedAnimations", [this](auto, auto&, int) { ++messages; });
  }
  ~EditingStage() override {
    destroyAsHost();
    manager.clearCopyBuffer();
    manager.clearClipStructure();
    knAnimManager::setDestroyNodeCB({});
    knAnimManager::setGetUniqueNameCB({});
  }
  static void destroyAsHost() {
    knAnimManager::setDestroyNodeCB([](osg::NodePtr const& node) { node.subRef(); });
  }

  template <class Run>
  static std::string printed(Run run) {
    testing::internal::CaptureStdout();
    run();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
  }
  /// A block with two curves, from `start` to `end` seconds.
  static osg::AnimNodePtr newBlock(std::string const& name, float start = 0, float end = 1) {
    auto const curve = [&] { return newCurveNode("translation", 0, {{start, 0}, {end, 1}}); };
    return named(newGroup<osg::AnimBlock>({curve(), curve()}), name);
  }
  template <class Material>
  static osg::MaterialPtr addMaterial(std::string const& name) {
    osg::MaterialPtr const material = Material::create();
    knSceneData::getMaterialPool()->add(material);
    return named(material, name);
  }
  osg::AnimNodePtr addClip(std::string const& name) {
    osg::AnimNodePtr const clip = named(newAnimNode(osg::AnimClip::create()), name);
    manager.addToClipStructure(clip);
    return clip;
  }
  /// The node that the animations of a container stand under.
  static osg::NodePtr animationsOf(osg::AttachmentContainerPtr const& container) {
    osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(container);
    return attachment ? osg::NodePtr(attachment->getAnimationRoot()) : osg::NodePtr();
  }
  static std::string childrenOf(osg::NodePtr const& node) {
    std::string text;
    if (node.isAlive()) {
      for (osg::NodePtr const& child : node->getChildren()) text += nameOf(child) + " ";
    }
    return text;
  }
  /// A chain of so many groups, with the given core at the end.
  static osg::AnimNodePtr newChain(int levels, osg::NodeCorePtr const& last) {
    osg::AnimNodePtr const top = newGroup<osg::Group>({});
    growChain(top, levels, [] { return newGroup<osg::Group>({}); })->setCore(last);
    return top;
  }

  int messages = 0;

 private:
  knUtils::Subscription _listening;
};

}  // namespace kntest
