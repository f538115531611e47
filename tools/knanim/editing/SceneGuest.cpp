#include "knanim/editing/SceneGuest.h"

#include "model/scenegraph/Group.h"

namespace knanim {

SceneGuest::SceneGuest(AnimatedScene const& host, ImportedModel const& model)
    : _host(host.root()), _group(osg::Node::create()) {
  _group->setCore(osg::GroupBase::create());
  osg::NodeUtils::setName(_group, "guest", true);
  _host->addChild(_group);
  _nodes = makeNodes(model, _group);
  _curves = hangCurves(model, _nodes, true);
}

SceneGuest::~SceneGuest() {
  if (_host.isAlive() && _group.isAlive()) _host->subChild(_group);
}

}  // namespace knanim
