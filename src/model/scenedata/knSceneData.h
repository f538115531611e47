#pragma once

#include "model/scenedata/MaterialPool.h"

class knSceneData;

/// What is known of a scene as a whole.
class KNSCENE_API knSceneDataBase : public osg::FieldContainer {
  KN_CONTAINER(knSceneDataBase, knSceneData, osg::FieldContainer)
 public:
  /// Frames per second, above 0; 30 until `knAnimManager::setFPS` is called.
  KN_SFIELD(osg::Real64, Fps, fps, 30.0)
  /// The root of the scene's objects, where walks for animations begin. Null while no scene exists.
  KN_SFIELD_READ(osg::NodePtr, Root, root, Owned)
  /// The material-side root, whose core is the `MaterialPool`. Null while no scene exists.
  KN_SFIELD_READ(osg::NodePtr, MaterialRoot, materialRoot, Owned)
  KN_CONTAINER_END
};

/// The record of a scene. It holds a reference to each of its roots.
class KNSCENE_API knSceneData : public knSceneDataBase {
 public:
  /// The root of the scene's objects. Null while no scene exists; for the record of the current scene this also logs an
  /// error, once until a scene has begun and ended.
  osg::NodePtr const& getRoot() const;
  /// Take a reference to the node and drop that to the former one. Another root raises `AnimNode::_changed`.
  void setRoot(osg::NodePtr const& root) { setRoots(root, getMaterialRoot()); }
  void setMaterialRoot(osg::NodePtr const& root) { setRoots(knSceneDataBase::getRoot(), root); }
  /// Both at once: the former ones go when both new ones are there.
  void setRoots(osg::NodePtr const& root, osg::NodePtr const& materialRoot);

  /// The material pool of the current scene, null while there is none.
  static osg::MaterialPoolPtr getMaterialPool();
};

using knSceneDataPtr = knSceneData::Ptr;
