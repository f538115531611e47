#pragma once

#include "knCurves.h"
#include "model/scenegraph/Node.h"

#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// What to do when a channel has a curve already.
struct knCurveOptions {
  /// Return the channel's top-level curve. Otherwise add another one, which writes after it.
  bool reuse = true;
};

/// How keys are added to a curve.
struct knKeyOptions {
  knTangents tangents = knTangents::Flat;  ///< of the new keys, see `knCurves::setTangents`
  bool replaceAll = false;                 ///< remove the curve's present keys first
  bool replaceSameTime = true;  ///< replace a key at exactly the same time; otherwise add behind it
};

/// How a clip is made from objects.
struct knClipOptions {
  float start = 0.F;  ///< seconds on the timeline at which the clip's own time 0 stands
  /// Switch the objects' own animations off, so that only the clip moves them. Otherwise the evaluation of the scene
  /// writes the same channels as well.
  bool switchOffInScene = true;
};

/// Makes animations in single calls. On failure an operation returns null, false or an empty list, changes nothing, and
/// logs an error with the reason. Main thread.
///
/// A channel is named by the text that lists of channels show: "rotation.Y", "visible", "exposure"; by the name of its
/// field ("eulerRotation.Y"); or by either with a prefix that says whose channel it is, by the name of the node or by its
/// kind ("Door.rotation.Y", "camera.exposure"). A text without a component, such as "translation", means all components
/// where an operation takes several. The object of a channel is a node or a material, such as a `PhongMaterialPtr`. The
/// channels of a core are those of its node: a core by itself is refused with a line in the log.
class KNANIM_API knAuthoring {
 public:
  knAuthoring() = delete;

  /// The curve of one channel of a node or material; a channel without a curve gets an empty one, which hangs on that
  /// object. If the object has no such channel, the log lists similar names. The curve of a material moves it while the
  /// material is in the scene's pool, see `knSceneData::getMaterialPool`. Cost: one walk over the object's channels.
  static osg::AnimCurvePtr makeCurve(osg::AttachmentContainerPtr const& object, std::string_view channel,
                                     knCurveOptions const& options = {});
  /// The same for all components that a text names, in their order.
  static std::vector<osg::AnimCurvePtr> makeCurves(osg::AttachmentContainerPtr const& object,
                                                   std::string_view channel,
                                                   knCurveOptions const& options = {});

  /// The present value of one channel of a node or material, wherever it is kept: the colour of a light and the "visible"
  /// of a node are read as well as fields of the core. It is what the last evaluation, or the host, has written. No value,
  /// and a line in the log as for `makeCurve`, if there is no such channel, or if the text names several components.
  /// Cost: one walk over the object's channels; to read often, keep the record that `knAnimManager::getKeyableChannels`
  /// gives and use `knAnimManager::getOSGFieldValue`.
  static std::optional<float> getValue(osg::AttachmentContainerPtr const& object, std::string_view channel);

  /// Adds keys to a curve, one value for each time (seconds), and announces the curve once. Times may come in any order;
  /// of equal times the last one counts, unless `replaceSameTime` is off. Neighbours whose tangents are exactly what
  /// `Smooth` or `Clamped` made are made again, so that keys set one by one give the curve of all at once; tangents that
  /// were set by hand stay, unless they equal what those make (a lone key with zero vectors does). Adds nothing if the
  /// curve is null or dead, if the lists differ in length or are empty, or if a number is not finite.
  static bool setKeys(osg::AnimCurvePtr const& curve, std::span<float const> times,
                      std::span<float const> values, knKeyOptions const& options = {});
  static bool setKeys(osg::AnimCurvePtr const& curve, std::initializer_list<osg::Pnt2f> keys,
                      knKeyOptions const& options = {});
  /// Adds a key to each component of a channel, and makes the curves that are missing. Needs one value per component:
  /// three for "translation", one for "translation.X".
  static bool setKey(osg::AttachmentContainerPtr const& object, std::string_view channel, float time,
                     std::span<float const> values, knKeyOptions const& options = {});
  static bool setKey(osg::AttachmentContainerPtr const& object, std::string_view channel, float time,
                     std::initializer_list<float> values, knKeyOptions const& options = {});

  /// Moves the top-level curves of each object into a block, as `knAnimManager::createBlock` does, which calls it `name`
  /// followed by "_Block". Returns the new blocks in the order of the objects; an object without curves gets none.
  static std::vector<osg::AnimNodePtr> makeBlocks(std::span<osg::NodePtr const> objects,
                                                  std::string const& name);
  /// Makes a clip of all animations of the objects, adds it to the clip structure, and returns its node. Top-level
  /// curves are moved into blocks first. The clip's trees share the objects' curves, so that an edit shows in both; each
  /// object gets rows of its own.
  static osg::AnimNodePtr makeClip(std::span<osg::NodePtr const> objects, std::string const& name,
                                   knClipOptions const& options = {});
  /// The same for chosen blocks, such as `makeBlocks` returns, so that an object can have several clips. Null and dead
  /// handles are skipped; each block counts once. Every block needs an owner, because the clip moves the owner of its
  /// curves.
  static osg::AnimNodePtr makeClipOfBlocks(std::span<osg::AnimNodePtr const> blocks, std::string const& name,
                                           knClipOptions const& options = {});
};
