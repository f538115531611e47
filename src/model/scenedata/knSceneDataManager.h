#pragma once

#include "model/scenedata/knSceneData.h"

/// The scenes of the process. There is one at present, the current one, whose number is 0.
///
/// The records are made when the library is loaded and never destroyed, so they can be used from the
/// constructors and destructors of statics. Main thread, except reading while nobody writes.
class KNSCENE_API knSceneDataManager {
 public:
  knSceneDataManager() = delete;

  /// The record of a scene; the handle is always alive. For any number but 0 the record is empty, and what is written
  /// to it is lost at the next call.
  static knSceneDataPtr getSceneData(unsigned int scene);

  /// The node that the scene's sceneplates stand below: that of its material pool. Null while there is none,
  /// and for any number but 0.
  static osg::NodePtr getSceneplateRoot(unsigned int scene);

  /// Drops the present scene and begins one that is empty: a material-side root with a `MaterialPool` as its core, and
  /// below it the root of the objects, the pool's camera root and its sceneplate root, each with a `Group` as its core.
  /// The frame rate stays, and so do the clips of the manager: see `knAnimManager::clearClipStructure`.
  ///
  /// The animation library then fills in host callbacks that are empty, so that a host that sets none gets working
  /// defaults; see `knAnimManager::fillEmptyCallbacks`.
  static void beginScene();
  /// Drops the present scene: its record holds no roots any more. The frame rate stays.
  static void endScene();

  /// Called by beginScene when the new scene stands; null calls nothing. For a library above this one, which sets it
  /// when it is loaded.
  static void setSceneBegunHook(void (*hook)()) { _sceneBegun = hook; }

 private:
  static void (*_sceneBegun)();
};
