#pragma once

#include "knCurves.h"
#include "model/scenegraph/Node.h"

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// What becomes of a channel that has a curve already.
struct knCurveOptions {
  bool reuse =
      true;  ///< gives the present top-level curve; else a further one is made, which writes after it
};

/// How keys are put on a curve.
struct knKeyOptions {
  knTangents tangents = knTangents::Flat;  ///< those of all keys that the call puts
  bool replaceAll = false;                 ///< the curve's former keys go
  bool replaceSameTime = true;  ///< a key takes the place of one at exactly its time; else it comes behind it
};

/// How a clip is made of objects.
struct knClipOptions {
  float start = 0.F;  ///< seconds by which the clip is moved on its timeline
  /// Switches the objects' own animations off, so that the evaluation of the scene leaves to the clip what the clip
  /// moves. Else both write.
  bool switchOffInScene = true;
};

/// Makes animations in single calls, by the operations of the manager. What can't be made gives null, false or an empty
/// list, changes nothing, and is told to the log as an error with its reason. Main thread.
///
/// A channel is named by the text that lists show: "rotation.Y", "visible", "exposure"; by the name of its field
/// ("eulerRotation.Y"); or by either with a prefix that says whose channel it is, by the name of the node or by its kind
/// ("Door.rotation.Y", "camera.exposure"). A text that names several components, such as "translation", stands for all of
/// them where the operation takes several.
class KNANIM_API knAuthoring {
 public:
  knAuthoring() = delete;

  /// The curve of a channel of a node, made and hung on the node where there is none. Where there is no such channel the
  /// log tells the names that come near. Looks at all channels of the node.
  static osg::AnimCurvePtr makeCurve(osg::NodePtr const& node, std::string_view channel,
                                     knCurveOptions const& options = {});
  /// Those of all components that a text names, in their order.
  static std::vector<osg::AnimCurvePtr> makeCurves(osg::NodePtr const& node, std::string_view channel,
                                                   knCurveOptions const& options = {});

  /// Puts keys on a curve, a value for each time, and announces it once. Times (seconds) may come in any order; of equal
  /// ones the last counts, unless the options say otherwise. Refused as a whole: a null or dead curve, lists of unequal
  /// length or without numbers, and numbers that are not finite.
  static bool setKeys(osg::AnimCurvePtr const& curve, std::span<float const> times,
                      std::span<float const> values, knKeyOptions const& options = {});
  static bool setKeys(osg::AnimCurvePtr const& curve, std::initializer_list<osg::Pnt2f> keys,
                      knKeyOptions const& options = {});
  /// Puts a key on each component of a channel of a node, making the curves that are missing. As many values as there are
  /// components: three for "translation", one for "translation.X".
  static bool setKey(osg::NodePtr const& node, std::string_view channel, float time,
                     std::span<float const> values, knKeyOptions const& options = {});
  static bool setKey(osg::NodePtr const& node, std::string_view channel, float time,
                     std::initializer_list<float> values, knKeyOptions const& options = {});

  /// Gathers the top-level curves of each object into a block, as `knAnimManager::createBlock` does. The new blocks, in
  /// the order of the objects; those without curves are passed over.
  static std::vector<osg::AnimNodePtr> makeBlocks(std::span<osg::NodePtr const> objects,
                                                  std::string const& name);
  /// Makes a clip of all animations of the objects and adds it to the clip structure. Top-level curves are gathered into
  /// blocks first. The clip holds trees that share the curves of the objects, so that an edit shows in both, each object
  /// on rows of its own. Gives the clip's node.
  static osg::AnimNodePtr makeClip(std::span<osg::NodePtr const> objects, std::string const& name,
                                   knClipOptions const& options = {});
};
