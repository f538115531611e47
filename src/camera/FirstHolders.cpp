#include "camera/FirstHolders.h"

#include "evaluation/TreeWalk.h"
#include "knAnimManager.h"
#include "model/scenegraph/NodeQueries.h"

FirstHolders::FirstHolders(std::set<osg::AnimNodePtr> const& wanted) {
  for (osg::AnimNodePtr const& node : wanted) {
    if (osg::hasCore<osg::AnimObject>(node)) _holders.try_emplace(node->getCore());
  }
}

bool FirstHolders::look(osg::NodePtr const& holder) {
  osg::AnimAttachmentPtr const attachment = knAnimManager::getAnimAttachment(holder);
  if (!attachment) return false;
  bool holdsAny = false;
  forEachNode(attachment->getAnimationRoot(), [&](osg::NodePtr const& node) {
    if (osg::dcastTo<osg::AnimNode>(node) == nullptr || !node->getCore().isAlive()) return false;
    auto const wanted = _holders.find(node->getCore());
    if (wanted == _holders.end()) return true;
    holdsAny = true;
    if (!wanted->second) wanted->second = holder;
    return true;
  });
  return holdsAny;
}

osg::NodePtr FirstHolders::of(osg::AnimNodePtr const& wanted) const {
  if (!wanted.isAlive()) return {};
  auto const holder = _holders.find(wanted->getCore());
  return holder != _holders.end() ? holder->second : osg::NodePtr();
}
