#pragma once

#include "knAnimExport.h"
#include "model/scenefiles/SceneFileHandler.h"

#include <string>

/// The current scene as a file: all of it, saved and loaded by one call each. Main thread.
///
/// A file of this kind holds
/// - the two roots of the scene's record with all below them: nodes, cores, geometries, attachments and animations;
///   with the material-side root come the material pool, the cameras and the sceneplates;
/// - the scene structure and the clip structure of the manager;
/// - the timeline: the frame rate, the current time, the playback rate, both ranges, and how frames are played
///   (`loopTimeline`, `evaluateSubframes`, `keepKeysAtFrame`, `playbackRangeHint`).
///
/// What belongs to the host or to the running program is not saved: callbacks, the playing queue, the copy buffer, and the
/// settings `playbackContextHint` and `verifyClipStructure`.
///
/// It is a scene file like any other, in one of the forms that docs/file-format.md describes.
class KNANIM_API knSceneFile {
 public:
  knSceneFile() = delete;

  /// Saves the current scene in the given form: by default as text when the name ends in ".json", else binary. The file
  /// is either complete and new, or what it was before. Nothing in the scene changes.
  ///
  /// False, with one error line in knLog that says why, when there is no scene and when the file can't be written. Needs
  /// about three times the size of the file in memory while it runs.
  static bool save(std::string const& fileName, bool compress = true,
                   osg::SceneFileForm form = osg::SceneFileForm::ByName);

  /// Replaces the current scene, with its structures and timeline, by that of a file. Callbacks that are empty are filled
  /// in as when a scene begins.
  ///
  /// "changedFPS" and "currentAnimTimeChanged" are sent when the new scene is in place, each only if its value has
  /// changed. Nothing is evaluated. Trees that were playing when they were saved do not play. Playing trees of the
  /// former scene leave the playing queue when they die with it; the roots of the two structures are taken out of the
  /// queue. A frame rate that is not above 0 is not taken, and knLog says so.
  ///
  /// False, with one error line in knLog that says why, and the present scene untouched, when the file can't be read or
  /// holds something other than a whole scene.
  static bool load(std::string const& fileName);
};
