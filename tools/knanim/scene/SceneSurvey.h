#pragma once

#include "knanim/import/ModelImport.h"
#include "knanim/scene/AnimatedScene.h"

#include <string>
#include <vector>

namespace knanim {

/// Hangs the other animations of the file into the scene of `model`, and puts all of them into the library's
/// clip structure, one clip for each. A stored scene has all of that already. Returns what could not be done, one line each.
std::vector<std::string> completeScene(AnimatedScene& scene, ImportedModel const& model,
                                       ModelFile const& file);

/// A clip of the clip structure, as the library measures it.
struct SurveyedClip {
  std::string name;
  knAnimInfo info;
  int firstFrame = 0;
  int lastFrame = 0;
};

/// How many blocks and clips have a name.
struct SurveyedName {
  std::string name;
  std::size_t blocks = 0;
  std::size_t clips = 0;
};

/// A node or material with animations.
struct SurveyedObject {
  std::string name;
  std::size_t animations = 0;  ///< blocks and caches, whatever stands in them
  osg::UInt64 curves = 0;
  osg::UInt64 keys = 0;
  std::vector<std::string> tags;
};

/// What the library tells of the animations of a scene.
struct SceneSurvey {
  std::vector<SurveyedClip> clips;
  std::vector<SurveyedName> names;  ///< of blocks and clips, in alphabetical order
  std::vector<SurveyedObject> nodes;
  std::vector<SurveyedObject> materials;
};

/// Asks the library about the current scene. Sets the frame rate, which tells what a frame is.
SceneSurvey surveyScene(AnimatedScene const& scene, double framesPerSecond);

}  // namespace knanim
