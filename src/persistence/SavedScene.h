#pragma once

#include "model/sceneext/AnimNode.h"

class SavedScene;

/// What a file of a whole scene has beside its nodes. It hangs on the root of the file.
class SavedSceneBase : public osg::Attachment {
  KN_CONTAINER(SavedSceneBase, SavedScene, osg::Attachment)
 public:
  /// The roots of the scene's record; null where the scene has none.
  KN_SFIELD_OWNED(osg::NodePtr, Root, root)
  KN_SFIELD_OWNED(osg::NodePtr, MaterialRoot, materialRoot)
  /// The roots of the manager's structures, of which the fields and the children count.
  KN_SFIELD_OWNED(osg::AnimNodePtr, SceneStructure, sceneStructure)
  KN_SFIELD_OWNED(osg::AnimNodePtr, ClipStructure, clipStructure)
  /// Frames per second: of the manager's timeline, of the scene's record, and of playback.
  KN_SFIELD(osg::Real64, Fps, fps, 24.0)
  KN_SFIELD(osg::Real64, SceneFps, sceneFps, 24.0)
  KN_SFIELD(osg::Real64, PlaybackFps, playbackFps, 24.0)
  /// In seconds.
  KN_SFIELD(osg::Real64, CurrentTime, currentTime, 0.0)
  /// In frames.
  KN_SFIELD(osg::Int32, FullRangeStart, fullRangeStart, 0)
  KN_SFIELD(osg::Int32, FullRangeEnd, fullRangeEnd, 50)
  KN_SFIELD(osg::Int32, DetailedRangeStart, detailedRangeStart, 0)
  KN_SFIELD(osg::Int32, DetailedRangeEnd, detailedRangeEnd, 25)
  KN_SFIELD(osg::UInt32, PlaybackRangeHint, playbackRangeHint, 0U)
  KN_SFIELD(bool, LoopTimeline, loopTimeline, true)
  KN_SFIELD(bool, EvaluateSubframes, evaluateSubframes, false)
  KN_SFIELD(bool, KeepKeysAtFrame, keepKeysAtFrame, false)
  KN_CONTAINER_END
};

class SavedScene : public SavedSceneBase {};

using SavedScenePtr = SavedScene::Ptr;
