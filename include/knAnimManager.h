#pragma once

#include "knAnimExport.h"
#include "model/camera/UberCamera.h"
#include "model/math/MatrixTools.h"
#include "model/records/knAnimConvertData.h"
#include "model/records/knAnimInfo.h"
#include "model/records/knAnimNodeData.h"
#include "model/records/knCurveData.h"
#include "model/records/knDynBlockArray.h"
#include "model/records/knOSGChannelData.h"
#include "model/sceneext/AnimAttachment.h"
#include "model/sceneext/AnimBlock.h"
#include "model/scenegraph/Traverse.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// The main class of the library and owner of its global state. Operations are for the host's main thread unless they
/// say otherwise.
class KNANIM_API knAnimManager {
 public:
  /// The same types as members.
  using knCurveData = ::knCurveData;
  using knOSGChannelData = ::knOSGChannelData;
  using knAnimNodeData = ::knAnimNodeData;
  using knAnimInfo = ::knAnimInfo;
  using knAnimConvertData = ::knAnimConvertData;

  knAnimManager(knAnimManager const&) = delete;
  knAnimManager& operator=(knAnimManager const&) = delete;

  /// The one manager, made at first use and destroyed at process end. Any thread.
  static knAnimManager* the();

  // --- Host callbacks -----------------------------------------------------------------------------------------
  // All are optional. Those that are empty when a scene begins (knSceneDataManager::beginScene) are filled in from the
  // embedded scene layer. An empty argument clears a callback until the next scene begins.

  /// Fills in, where they are empty, the callbacks that the scene layer can answer itself, those of the evaluator among
  /// them:
  /// - destroying a node drops the reference that was taken for it;
  /// - the materials below any node are those of the current scene's material pool, and the pool is that pool;
  /// - a name that is taken gets a number, "Door_2", "Door_3", and so on;
  /// - the simulation is a switch of the library's own, on at first, which enableSimulation sets; filled in only where the
  ///   host has set neither of its two callbacks;
  /// - updating the navigator does nothing, as the scene layer has none.
  /// The clock and the curve editor stay as they are. beginScene calls this; a host that sets the roots of its scene by
  /// hand calls it once itself.
  static void fillEmptyCallbacks();

  /// The simulation clock in seconds. Without it, the process's monotonic counter counts from its first use.
  static void setSimulationTimeCB(double (*callback)()) { _timeCB = callback; }
  /// Called to let the navigator follow a camera that was moved.
  static void setUpdateNavigatorCB(void (*callback)(bool)) { _updateNavCB = callback; }
  /// Called to switch the host's simulation on and off.
  static void setEnableSimulationCB(void (*callback)(bool)) { _enableSimCB = callback; }
  /// The host's simulation switch: while it answers false, only evaluations with `force` run.
  static void setSimulationEnabledCB(bool (*callback)()) { _simEnabledCB = callback; }
  /// Fills in the records that are selected in the host's curve editor.
  static void setGetCurveEditorDataCB(void (*callback)(std::vector<knCurveData>&)) {
    _getCEDataCB = callback;
  }
  /// Destroys a copied node, to which a reference is held.
  static void setDestroyNodeCB(std::function<void(osg::NodePtr const&)> callback);
  /// Called to append all materials used below a node. Null, dead and repeated handles are allowed.
  static void setGetAllMaterialsCB(
      std::function<void(osg::NodePtr const&, std::vector<osg::MaterialPtr>&)> callback);
  /// Called with a name and the names of all animation nodes; returns a name that is not among these.
  static void setGetUniqueNameCB(
      std::function<std::string(std::string const&, std::vector<std::string>&)> callback);

  /// The host's simulation switch; true while the host has none.
  static bool simulationEnabled();
  /// These two call the host's callback, or do nothing while it is empty.
  static void enableSimulation(bool on);
  static void updateNavigator(bool on);

  /// The callbacks as they are set.
  static double (*_timeCB)();
  static void (*_updateNavCB)(bool);
  static void (*_enableSimCB)(bool);
  static bool (*_simEnabledCB)();
  static void (*_getCEDataCB)(std::vector<knCurveData>&);
  static std::function<void(osg::NodePtr const&)> _destroyNodeCB;
  static std::function<void(osg::NodePtr const&, std::vector<osg::MaterialPtr>&)> _getAllMaterialsCB;
  static std::function<std::string(std::string const&, std::vector<std::string>&)> _getUniqueNameCB;

  // --- Curve values -------------------------------------------------------------------------------------------

  /// Computes `value` of every record at the record's own `time`, in parallel, and returns when all are done. The
  /// cycling infinity modes also wrap the record's `time`, and "cycle relative" sets `cycleValueOffset`; nothing else
  /// is written, neither in the records nor in the scene.
  ///
  /// A record keeps its earlier value, 0 in a new one, when its node is null, dead or inactive, when its curve is
  /// null, dead or empty, and when the segment at that time has no solution (see solveSegment). Division by zero (a
  /// zero scale, a cycle without length) gives infinity or NaN. The argument `time` is not used, because one evaluation
  /// can give every node its own wrapped time.
  ///
  /// A worked example: keys (0 s, 0) and (1 s, 10) with straight tangents under a node of scale 2 and offset 3
  /// stand at 3 s and 5 s. Time 4 gives 5; time 5 gives 10, the end key belonging to the curve; time 5.5 is past
  /// the end: 10 by the constant mode, 2.5 by "cycle" (as time 3.5 is), 12.5 by "cycle relative".
  ///
  /// Each record can be a task of its own, so that curves of very uneven sizes share the cores well. No heap
  /// allocation per record. One bisection, or for long curves a check of the segment read last, and at most one
  /// cubic per record.
  void computeCurveValues(std::vector<knCurveData>& data, float time);

  // --- Collecting curves --------------------------------------------------------------------------------------
  // Walks over one animation tree, each node before its children. Each flag leaves something out: `ignoreEmpty` curves
  // without keys; `ignoreInactive` inactive nodes, with all below them, and curves whose `Active` is false;
  // `ignoreVertex` the curves of `VertexAnimCurves` cores; `motionBlur` nodes that take no part in motion blur, with
  // all below them. A null root changes nothing. The walks share static lists and must not be nested.

  /// Appends a record for every curve, and the nodes of all sequences.
  void getAnimCurveData(osg::AnimNodePtr const& root, std::vector<knCurveData>& data,
                        std::vector<osg::AnimNodePtr>& sequenceNodes, bool ignoreEmpty, bool ignoreInactive,
                        bool ignoreVertex, bool motionBlur);
  /// Replaces the content of `curves` by all curves. `motionBlur` is as in the last getAnimCurveData.
  void getAnimCurves(osg::AnimNodePtr const& root, std::vector<osg::AnimCurvePtr>& curves, bool ignoreEmpty,
                     bool ignoreInactive, bool ignoreVertex);
  /// Replaces `nodes` by the nodes of all curves, with a null for a curve under a plain node.
  void getAnimCurveNodes(osg::AnimNodePtr const& root, std::vector<osg::AnimNodePtr>& nodes, bool ignoreEmpty,
                         bool ignoreInactive, bool ignoreVertex);
  /// The visitor of these walks: continues, or skips what hangs below a node that is left out.
  static osg::Action::ResultE collectAnimData(osg::NodePtr const& node);
  /// Collects the roots of all animation trees of the scene, its sceneplates and its materials in `_animRoots`. A
  /// parallel walk that skips what carries no animation.
  void updateSceneAnimCurveData();
  /// Asks the host's curve editor for its selection; nothing without one.
  static void getCurveEditorData(std::vector<knCurveData>& data);

  /// What `collectAnimData` leaves out.
  static bool _ignoreEmptyCurves;
  static bool _ignoreInactiveCurves;
  static bool _ignoreVertexAnimCurves;
  static bool _motionBlurCurves;
  /// What it found. getAnimCurveNodes clears only `_animCurveNodes`; getAnimCurveData and getAnimCurves clear the other
  /// lists of this walk, but not that one. To read a list that a walk does not return, clear it before the walk.
  static std::vector<knCurveData> _animData;
  static std::vector<knCurveData> _sceneAnimCurveData;
  static std::vector<knAnimNodeData> _nodesWithAnimation;
  static knDynBlockArray<osg::AnimCurvePtr> _animCurves;
  static knDynBlockArray<osg::AnimNodePtr> _animCurveNodes;
  static knDynBlockArray<osg::AnimNodePtr> _animSequenceNodes;
  static knDynBlockArray<osg::AnimNodePtr> _animRoots;

  // --- Evaluating one tree ------------------------------------------------------------------------------------
  // Nothing happens if the node is null, dead, inactive or has no core, or if the host's simulation is switched off and
  // `force` is false. Time is in seconds. See knAnimEvaluator::evaluateObject.

  /// Evaluates the tree at the current time and announces what changed.
  void reevaluate(osg::AnimNodePtr node, bool force);
  /// `commit` announces the written fields; without it they wait for the next commit, except for fields that operations
  /// of the target set and announce themselves: rotations, camera views, light colours. `motionBlurOnly` leaves out
  /// curves whose own node takes no part in motion blur, whatever a block or clip above it says.
  void evaluateByTime(osg::AnimNodePtr node, float time, bool force, bool commit, bool motionBlurOnly);
  /// The same for a frame, which need not be whole.
  void evaluateByFrame(osg::AnimNodePtr node, float frame, bool force, bool commit, bool motionBlurOnly);

  // --- Playing queue ------------------------------------------------------------------------------------------
  // See knAnimEvaluator, which steps the queue. Null and dead handles are ignored.

  /// Puts a tree into the queue, or several: with `start` to play from now on, without it to begin at the end of the
  /// next pass. One that plays already begins again.
  void enqueue(osg::AnimNodePtr const& node, bool start);
  void enqueue(std::vector<osg::AnimNodePtr> const& nodes, bool start);
  /// Takes a tree out of the queue, not as finished.
  void dequeue(osg::AnimNodePtr const& node);
  /// The same for all trees.
  void dequeueAll();
  /// Shows the first frame of a tree, or the last, unless the host's simulation is switched off; ends a pause, and takes
  /// the tree out of the queue. A play range is ignored.
  void reset(osg::AnimNodePtr const& node, bool toEnd);
  /// Stops the clock of a playing tree, or lets it go on from where it was stopped.
  void pause(osg::AnimNodePtr const& node, bool paused);
  /// Whether a tree in the queue plays: one whose core has that name, or this one.
  bool isPlaying(std::string const& name) const;
  bool isPlaying(osg::AnimNodePtr const& node) const;

  // --- Timeline -----------------------------------------------------------------------------------------------
  // frame = time * fps, in doubles and without rounding. Only the time is kept: changing the frame rate changes
  // the number of the current frame.

  /// Sets the frames per second here and in the scene's record, and sends "changedFPS" (receivers read fps()). Until it
  /// is called the rate is 24 here, which is what counts, and 30 in the record of a new scene. With keepKeysAtFrame the
  /// keys of `_sceneAnimCurveData` move so that they stay at their frames. A rate that is not above 0 is accepted, with
  /// one warning in the log; at a rate of 0 the times of frames are not finite.
  void setFPS(double fps);
  double fps() const { return _fps; }
  void setKeepKeysAtFrame(bool keep) { _keepKeysAtFrame = keep; }
  bool keepKeysAtFrame() const { return _keepKeysAtFrame; }
  /// Frames per second of playback, 24 at first; kept for the host.
  void setPlaybackFPS(double fps) { _playbackFPS = fps; }
  double playbackFPS() const { return _playbackFPS; }
  /// Kept for the host.
  void setPlaybackRangeHint(unsigned int hint) { _playbackRangeHint = hint; }
  unsigned int playbackRangeHint() const { return _playbackRangeHint; }
  /// 1 restricts the evaluation of the scene to what is selected in the curve editor; any other value does not.
  void setPlaybackContextHint(unsigned int hint) { _playbackContextHint = hint; }
  unsigned int playbackContextHint() const { return _playbackContextHint; }
  /// Whether the timeline loops; true at first.
  void setLoopTimeline(bool loop) { _loopTimeline = loop; }
  bool loopTimeline() const { return _loopTimeline; }
  /// Whether playback may stop between whole frames; false at first.
  void setEvaluateSubframes(bool subframes) { _evaluateSubframes = subframes; }
  bool evaluateSubframes() const { return _evaluateSubframes; }
  /// First and last frame of the whole timeline (0 and 50 at first) and of the part in view (0 and 25).
  void setFullRangeStart(int frame) { _fullRangeStart = frame; }
  int fullRangeStart() const { return _fullRangeStart; }
  void setFullRangeEnd(int frame) { _fullRangeEnd = frame; }
  int fullRangeEnd() const { return _fullRangeEnd; }
  void setDetailedRangeStart(int frame) { _detailedRangeStart = frame; }
  int detailedRangeStart() const { return _detailedRangeStart; }
  void setDetailedRangeEnd(int frame) { _detailedRangeEnd = frame; }
  int detailedRangeEnd() const { return _detailedRangeEnd; }
  /// Whether checking a scene also checks its clips; true at first.
  void setVerifyClipStructure(bool verify) { _verifyClipStructure = verify; }
  bool getVerifyClipStructure() const { return _verifyClipStructure; }

  /// Moves to a time in seconds, evaluates the scene there and, with `notify`, sends "currentAnimTimeChanged" with
  /// "time", a double. Returns false and does nothing if that is the present time already, unless `force` is set.
  /// `force` also evaluates while the host's simulation is switched off.
  bool setCurrentTime(double time, bool force, bool notify);
  /// The same for a frame, which need not be whole; then also sends "currentFrameChanged" with "frame", a double.
  /// At 24 frames per second, frame 48 is time 2.
  bool setCurrentFrame(double frame, bool force, bool notify);
  /// These move without evaluating.
  bool setCurrentTimeNoEvaluation(double time, bool notify);
  bool setCurrentFrameNoEvaluation(double frame, bool notify);
  /// The time of the scene in seconds, and as a frame.
  double currentTime() const { return _currentTime; }
  double currentFrame() const { return _currentTime * _fps; }

  /// Evaluates the scene without moving. `flag` is passed on to the evaluator, which makes no use of it.
  void evaluateAnimationsByTime(float time, bool force, bool flag);
  void evaluateAnimationsByFrame(float frame, bool force, bool flag);
  /// Evaluates the scene at the current time.
  void reevaluateAnimations(bool force);

  /// Multiplies the times of all keys, tangents included, of the curves in `_sceneAnimCurveData`, without
  /// announcing them. The library leaves that list empty: a host that wants keys to stay at their frames fills it.
  void multiplyAnimationKeys(double factor);

  /// For scripts: setCurrentFrame with `notify` but without `force`, and currentFrame.
  static void pySetCurrentFrame(double frame);
  static double pyGetCurrentFrame();

  /// The host's simulation clock in seconds, or the time since the first call where the host gives none.
  static double getSimulationTime();

  // --- What can be keyed --------------------------------------------------------------------------------------
  // A channel is one float of the scene: one component of one field of one container. Lists are appended to, in a fixed
  // order. Call these on demand, not in each frame.

  /// The channels of a node, its core and what hangs from the core; nothing for a null or dead node.
  void getKeyableChannels(osg::NodePtr const& node, std::vector<knOSGChannelData>& channels);
  /// The channels of one container. The ids and the name go into the records; fields in `excludedNames` are left
  /// out. A null or dead container gives nothing.
  void getKeyableChannels(osg::FieldContainerPtr const& container, osg::UInt32 parentId, osg::UInt32 nodeId,
                          std::string const& nodeName, std::vector<knOSGChannelData>& channels,
                          std::vector<std::string> const& excludedNames);
  /// The channels that a material declares; nothing for a null or dead one.
  void getKeyableChannels(osg::MaterialPtr const& material, std::vector<knOSGChannelData>& channels);
  /// Whether fields of that name can be keyed; true for the empty name.
  bool isKeyableAttribute(std::string const& name) const;
  /// Whether a field of that content type (`TypeBase::getId`) and name is shown as a colour.
  bool isColorField(osg::UInt32 contentTypeId, std::string const& name) const;
  /// The colour of a new curve with that suffix: red for X and R, green for Y and G, blue for Z and B, yellow for W, A
  /// and I, orange for any other text.
  osg::Color3f getDefaultColor(std::string const& suffix);
  /// The component that a suffix of one letter names: 1 for Y and G, 2 for Z and B, 3 for W and A, 0 for any other
  /// text.
  osg::UInt32 getValueIndexFromSuffix(std::string const& suffix);
  /// Whether the builders of camera curves pass over channels of that name.
  bool ignoreChannel(std::string const& name) const;

  // --- Reading channels ---------------------------------------------------------------------------------------
  // The present value of one channel, as a curve on it would give it. Nothing in the scene changes. What cannot be
  // read gives 0: null, dead and unknown containers, unknown fields, components and bits that do not exist,
  // quaternions, vertex properties and lists. Any thread, while nobody writes; the overload for curves may rebuild the
  // table of owners and is for the main thread only.
  //
  // Some channels do not read as they are written. A vector called "fieldOfView" is written in degrees and read in
  // radians. Bits of 64-bit fields (index 10 and above) can be written, but read as 0. "visible" reads 1 only if the
  // traversal mask is 0xFFFFFFFF.

  /// A component, 0 to 3, of a field, or of what the container has under that name without a field ("visible" of a
  /// node, "from" of a camera). In fields of 32-bit integers an index from 10 up is the number of a bit plus 10: 11
  /// reads bit 1, the second one.
  float getOSGFieldValue(osg::FieldContainerPtr const& container, char const* fieldName, int valueIndex);
  /// The container, the field and the component that the record names.
  float getOSGFieldValue(knOSGChannelData const& channel);
  /// What a curve drives on a container; with a null or dead `aim`, on the first container that it drives in the scene.
  float getOSGFieldValue(osg::AnimCurvePtr const& curve, osg::FieldContainerPtr const& aim);
  /// By a path: "Node.translation.Y" is the second component of "translation". The part before the first dot is
  /// ignored; a path without dots is the name of a field. If there is a second dot, the last letter gives the
  /// component: 3 for A or W, 2 for B or Z, 1 for G or Y, 0 for anything else.
  float getOSGFieldValue(unsigned int containerId, std::string const& path);

  // --- Attachments --------------------------------------------------------------------------------------------

  /// The container's animation attachment; null when the container is null, dead or has none. Any thread, while
  /// nobody writes.
  static osg::AnimAttachmentPtr getAnimAttachment(osg::AttachmentContainerPtr const& container);
  /// Adds a tree to the animations of a node or material, which gets its attachment when it has none. Null and dead
  /// handles change nothing; the first such call is logged. Trees on cores are never evaluated.
  void addAnimation(osg::AttachmentContainerPtr const& container, osg::AnimNodePtr const& animation);
  /// Takes a top-level animation away.
  void subAnimation(osg::AttachmentContainerPtr const& container, osg::AnimNodePtr const& animation);

  // --- Making animations --------------------------------------------------------------------------------------
  // Null and dead handles, and empty names of fields and channels, give null, false or nothing, and change nothing;
  // blocks may be nameless. Texts are compared byte by byte. Making a curve costs the same in every scene; so does
  // making a block, unless the host's own callback makes unique names (see setGetUniqueNameCB): it is given the names
  // of all animation nodes.

  /// The first top-level curve of an attachment with that suffix whose name, that of its field, is `name`.
  osg::AnimCurvePtr findChannelCurve(std::string const& name, std::string const& suffix,
                                     osg::AnimAttachmentPtr const& attachment);
  /// The node of the first top-level curve with that channel name and suffix. A curve in a block is not top-level.
  osg::AnimNodePtr findChannelCurveNode(osg::AnimAttachmentPtr const& attachment,
                                        std::string const& channelName, std::string const& suffix);
  osg::AnimNodePtr findChannelCurveNode(knOSGChannelData const& channel,
                                        osg::AnimAttachmentPtr const& attachment);
  /// Makes a curve for a channel, without keys and with the suffix's colour, under a node that is named after the channel
  /// and the suffix, with a dot between them. It is added to the attachment, if there is one, even when the channel has
  /// a curve already: use findChannelCurveNode first.
  osg::AnimNodePtr createChannelCurveNode(knOSGChannelData const& channel,
                                          osg::AnimAttachmentPtr const& attachment);
  /// An empty `channelName` means `name`, that of the field.
  osg::AnimNodePtr createChannelCurveNode(osg::AnimAttachmentPtr const& attachment, std::string const& name,
                                          unsigned int valueIndex, std::string const& suffix,
                                          std::string channelName);
  /// Appends the nodes of the top-level curves of an attachment.
  void getChannelCurveNodes(osg::AnimAttachmentPtr const& attachment, std::vector<osg::AnimNodePtr>& out);
  /// Those of a node, and of its material where it is a `MaterialGroup`.
  void getChannelCurveNodes(osg::NodePtr const& node, std::vector<osg::AnimNodePtr>& out);
  /// Makes a curve that is not part of any tree yet. The channel is `name` followed by `suffix`, and the suffix gives the
  /// component; the node's name has a dot between the two, also before an empty suffix.
  std::pair<osg::AnimNodePtr, osg::AnimCurvePtr> createCurve(std::string const& name,
                                                             std::string const& suffix);

  /// Puts all top-level curves of an attachment into a new block with a unique name made of `name` and "_Block". Null,
  /// with nothing changed, when no curve has keys.
  osg::AnimNodePtr createBlock(osg::AnimAttachmentPtr const& attachment, std::string const& name);
  /// The older form: takes curves without keys as well and `name` as it is, and marks the attachment as not set up.
  void createBlock(osg::NodePtr const& node, std::string const& name);
  /// Makes a block of curves and adds it to the node's animations. The block is called `name`, its node gets a unique
  /// name. Null and dead curves are skipped.
  void importBlock(osg::NodePtr const& node, std::vector<osg::AnimCurvePtr> const& curves,
                   std::string const& name);

  /// A free name for a copy: "Door copy", "Door copy2", "Door copy223", and so on.
  std::string createCopyNameFrom(std::string const& name);
  /// Names a node, unless a clip or block, including the node itself, has that name already.
  bool rename(osg::NodePtr const& node, char const* name);
  /// Switches a node and all below it on or off.
  void setTreeActive(osg::NodePtr const& node, bool active);
  /// Whether a node has no parent; false for a null or dead one.
  bool isAnimationRoot(osg::AnimNodePtr const& animation);
  /// The topmost node above a node; null when that is no animation node.
  osg::AnimNodePtr getAnimationRoot(osg::AnimNodePtr const& animation);

  // --- Asking about animations --------------------------------------------------------------------------------
  // Walks begin at the material-side root of the current scene, below which `knSceneDataManager::beginScene` puts the
  // scene's objects too; its materials are those that the host's callback tells. Null and dead handles and empty names
  // find nothing. Names are those of nodes, byte by byte; the first match in tree order wins.

  /// Start and end of a tree in seconds, all repetitions included; 0 and 0 for a tree without content.
  void getBounds(osg::AnimNodePtr const& animation, float& start, float& end);
  /// The same in frames: the start without its fraction, the end by getLastRenderFrame.
  void getFrameBounds(osg::AnimNodePtr const& animation, int& start, int& end);
  /// The last frame to render of a range that ends at `frame`: rounded up, except for fractions below 0.001. So
  /// 100.0005 gives 100, and 100.001 gives 101.
  static int getLastRenderFrame(double frame);
  /// What a tree holds and its place in time; all zeros for null.
  knAnimInfo getInfo(osg::AnimNodePtr const& animation);
  /// The visitor of getInfo: counts one node into `_curvesStats` and `_cpsStats`.
  static osg::Action::ResultE collectAnimInfo(osg::NodePtr const& node);

  /// A clip of the clip structure, else a block of a material, else a block of a node. Curves, and blocks that are only in
  /// clips, are not found.
  osg::AnimNodePtr find(std::string const& name);
  /// A clip of the clip structure, at any depth.
  osg::AnimNodePtr findClip(std::string const& name);
  /// A clip at or below a node; below a node without core nothing is found.
  osg::AnimNodePtr findClipR(osg::NodePtr const& node, std::string const& name);
  /// A top-level block of one node or material.
  osg::AnimNodePtr findBlock(osg::AttachmentContainerPtr const& container, std::string const& name);
  /// The same for a node and all below it.
  osg::AnimNodePtr findBlockR(osg::NodePtr const& node, std::string const& name);
  /// A top-level block of one of the scene's materials.
  osg::AnimNodePtr findMaterialBlock(std::string const& name);

  /// Whether the container has animations.
  bool hasAnimations(osg::AttachmentContainerPtr const& container);
  /// Whether a geometry has cached shapes or vertex curves.
  bool hasVertexAnimation(osg::NodePtr const& node);
  /// Appends the scene's materials that have a curve with keys.
  void getMaterialsWithAnimation(std::vector<knAnimNodeData>& out);
  /// Appends the nodes at and below `root` that have a curve with keys or a shape cache and are not hidden; nothing at
  /// or below a camera track. Must not be nested in another such walk.
  void getNodesWithAnimation(osg::NodePtr const& root, std::vector<knAnimNodeData>& out);
  /// The visitor of that walk, which collects into `_nodesWithAnimation`.
  static osg::Action::ResultE collectNodesWithAnimation(osg::NodePtr const& node);

  /// Inserts the names of all blocks and clips, those in the clip structure among them.
  void getBlockAndClipNames(std::set<std::string>& names);
  /// The blocks on nodes and materials, with or without hidden ones, by name and by node.
  static std::vector<std::string> pyGetBlocks(bool includeHidden);
  static std::vector<osg::NodePtr> getBlockNodes(bool includeHidden);
  /// The clips directly below the clip structure's root; the list of names leaves out empty ones.
  static std::vector<std::string> pyGetClips();
  static std::vector<osg::NodePtr> getClipNodes();

  /// What the last getInfo counted.
  static osg::UInt64 _curvesStats;
  static osg::UInt64 _cpsStats;

  // --- Structures ---------------------------------------------------------------------------------------------
  // The manager owns two trees that do not depend on the scene: the clips, and one that the library keeps for the host.
  // Both are in one attachment, which a host hangs on a node to save them with the scene. Null and dead handles do
  // nothing. Printing goes to standard output.

  /// Hangs the manager's attachment on a node, which then shares it, or takes it away again.
  void pushStructureAttachment(osg::NodePtr const& node);
  void removeStructureAttachment(osg::NodePtr const& node);
  /// Merges the animation attachment of a node (see mergeStructureAttachment), and removes it from the node even if it
  /// is no structure.
  void pullStructureAttachment(osg::NodePtr const& node);
  /// Moves the contents of both trees behind those of the manager's. An attachment whose root has not exactly two
  /// children is no structure and is left alone, as is the manager's own.
  void mergeStructureAttachment(osg::AnimAttachmentPtr const& attachment);
  /// The tree for the host's own use: empties it, adds to it, gives its root.
  void clearSceneStructure();
  void addToSceneStructure(osg::AnimNodePtr const& animation);
  osg::AnimNodePtr sceneStructureRoot() const { return _sceneStructureRoot; }
  /// The clips: empties the tree, adds to it, gives its root.
  void clearClipStructure();
  void addToClipStructure(osg::AnimNodePtr const& animation);
  osg::AnimNodePtr clipStructureRoot() const { return _clipStructureRoot; }
  /// Prints both trees.
  void printStructures();
  /// Prints the names of a tree, each after `indent` and two dashes for each level.
  void printStructureR(osg::AnimNodePtr const& animation, std::string indent);

  // --- Copying and pasting ------------------------------------------------------------------------------------
  // One buffer for the process. Each copy remembers its aim, the node or material that owned the original, and can be
  // pasted only where it can drive the same channels: onto nodes whose core, or geometries whose material, is of the
  // same type, and onto materials of the same group. Any tree can also be pasted into a clip or below the clip
  // structure's root, but nowhere else within a tree. A refused entry is reported on standard output, and the rest are
  // pasted. Null and dead handles do nothing; an entry that died since it was copied is skipped. Callbacks and
  // receivers may call any of these again, and destroy anything.
  //
  // A copy is linear in the size of the tree and in its depth below its owner. A paste is linear in the size of the
  // trees, asks for a unique name for each (see setGetUniqueNameCB), and walks once over what is animated in the scene.

  /// Empties the buffer by passing each tree to the host, whose callback drops the reference that copying took. Without
  /// the callback an error is logged and the buffer stays, so that copies accumulate.
  void clearCopyBuffer();
  /// Whether the buffer holds anything.
  bool hasCopyBufferContent() const { return !_copyBuffer.empty(); }
  /// Clears the buffer and copies a tree into it. `aim` is the node or material that the tree was made for. If it is
  /// null or dead, the first node of the scene that owns the tree is taken, else the first such material.
  void copy(osg::AnimNodePtr const& animation, osg::FieldContainerPtr aim);
  /// Copies many. An empty list leaves the buffer as it is, as does a null tree above.
  void copy(std::vector<osg::AnimNodePtr> const& animations);
  /// Copies all top-level animations of a node or material; where there are none a warning is printed and the buffer
  /// stays.
  void copyFrom(osg::AttachmentContainerPtr const& container);
  /// Copies, and removes the trees from their parents. That can drop their last reference: a tree that nothing else
  /// holds can then be pasted, but not with clonePasteTo.
  void cut(osg::AnimNodePtr const& animation);
  void cut(std::vector<osg::AnimNodePtr> const& animations);

  /// Pastes independent copies. On a node or material they join its animations under unique names; the target gets an
  /// attachment even when nothing fits. In a tree they keep their names and places. `flip` inverts their `Flipped`, a
  /// mark for the host's editor that no evaluation reads; to play a tree backwards, give it a negative scale. `notify`
  /// sends "pastedAnimations", even when nothing fits, but not for an empty buffer. Returns the new trees.
  void pasteTo(osg::MaterialPtr const& target, bool flip, bool notify);
  std::vector<osg::AnimNodePtr> pasteTo(osg::NodePtr const& target, bool flip, bool notify);
  /// The same for several targets. Sends one message in all, even for an empty list or buffer.
  void pasteTo(std::vector<osg::MaterialPtr> const& targets, bool flip, bool notify);
  void pasteTo(std::vector<osg::NodePtr> const& targets, bool flip, bool notify);

  /// The same with trees that share the curves of what was copied. They keep their names, and in a tree each goes to a
  /// free row (see calculateFreeOffsetYFor).
  void clonePasteTo(osg::MaterialPtr const& target, bool flip, bool notify);
  std::vector<osg::AnimNodePtr> clonePasteTo(osg::NodePtr const& target, bool flip, bool notify);
  void clonePasteTo(std::vector<osg::MaterialPtr> const& targets, bool flip, bool notify);
  void clonePasteTo(std::vector<osg::NodePtr> const& targets, bool flip, bool notify);
  /// The same into a tree, each at `offsetX` seconds. The row is one that is free at the tree's former time, so at
  /// `offsetX` it may be taken.
  std::vector<osg::AnimNodePtr> clonePasteToWithOffset(osg::AnimNodePtr const& target, float offsetX,
                                                       bool flip, bool notify);

  /// The first row (y of an offset: 0, 50, 100, ..) below `parent` that is free during `animation`. Spans that touch
  /// collide: with a child from 0 to 10 s on row 0, one from 10 to 20 s gets row 50, one from 10.5 s
  /// row 0. Children whose y is not a multiple of 50, and `ignore`, do not count. 0 for null. Linear in the children.
  float calculateFreeOffsetYFor(osg::AnimNodePtr const& animation, osg::NodePtr const& parent,
                                osg::AnimNodePtr const& ignore);
  /// The same for a span in seconds.
  float calculateFreeOffsetYFor(float start, float length, osg::NodePtr const& parent,
                                osg::AnimNodePtr const& ignore);
  /// The largest y of the children's offsets, or -1 if that is larger or there are no children.
  float maxChildOffsetY(osg::NodePtr const& parent);
  /// Puts clip nodes that wait in a buffer back under their parents. The library itself puts none there.
  void restoreFromClipNodeBuffer();

  // --- Sharing and moving -------------------------------------------------------------------------------------
  // One block can stand under many nodes: they share its core, and an edit of its curves shows in all of them. Null and
  // dead handles give false, 0 or null and change nothing.

  /// Gives a tree cores of its own and a unique name. `parent` must be alive, and is otherwise not used.
  void unshareFrom(osg::AnimNodePtr& animation, osg::FieldContainerPtr const& parent);
  /// Gives each clip of a tree a core of its own and a unique name; what the clips hold stays shared.
  void unshareClipsR(osg::AnimNodePtr const& animation);
  /// Replaces the animations of a material, or of a node and all below it, by copies that share nothing with the
  /// originals. They go through the copy buffer, with its rules, messages and names: a node outside the scene ends up
  /// without animations, as nothing can be pasted there, and a node whose attachment was empty gets what the buffer
  /// held before.
  void createDuplicatesFromShared(osg::MaterialPtr const& material);
  void createDuplicatesFromSharedR(osg::NodePtr const& node);

  /// Moves a tree to the animations of `to` if `from` and `to` are compatible, and refreshes the scene's curve data;
  /// `notify` sends "pastedAnimations". A material without an attachment gets one, a node must have one. The tree
  /// leaves its present parent, whichever that is: `from` only says what the tree was made for. Each call walks over
  /// what is animated in the scene.
  bool moveBlockToMaterial(osg::AnimNodePtr const& block, osg::MaterialPtr const& from,
                           osg::MaterialPtr const& to, bool notify);
  bool moveBlockToNode(osg::AnimNodePtr const& block, osg::NodePtr const& from, osg::NodePtr const& to,
                       bool notify);
  /// Whether two materials are of one group.
  bool isCompatible(osg::MaterialPtr const& a, osg::MaterialPtr const& b);
  /// 1 when the cores of two nodes are of one group, 2 for a geometry and a transform, 3 for a transform and a
  /// geometry, in this order; 0 for all else.
  int isCompatible(osg::NodePtr const& a, osg::NodePtr const& b);

  /// How often the core of a block or shape cache occurs in the animation trees of the scene, which are collected again
  /// for it (see updateSceneAnimCurveData).
  unsigned int blockSceneRefCount(osg::AnimNodePtr const& block);
  /// How often it occurs in the tree that the node itself is part of; 0 at the top of a tree and in the clip structure.
  unsigned int blockNodeRefCount(osg::AnimNodePtr const& block);
  /// Kept for hosts: walks over the animations of the scene, of a node and all below it, and over one tree, without any
  /// effect.
  void gatherAnimReferenceData();
  void gatherAnimReferenceDataR(osg::NodePtr const& node);
  void collectAnimReferenceDataR(osg::NodePtr const& node);
  /// The first node of the scene that has `object` as its core or in its animations, else the first material that has
  /// it in its animations.
  osg::FieldContainerPtr findFirstParent(osg::AnimObjectPtr const& object);
  /// The same at and below a node. Below a node without core nothing is found.
  osg::NodePtr findFirstParentR(osg::NodePtr const& node, osg::AnimObjectPtr const& object);
  /// Switches off all top-level blocks; their curves keep their own switches.
  void setAllBlocksInactive(osg::MaterialPtr const& material);
  void setAllBlocksInactive(osg::NodePtr const& node);

  // --- Migrating and verifying --------------------------------------------------------------------------------
  // For scenes of older releases, and for clips that hold blocks which the scene has lost. Trees may be of any depth;
  // the cost is linear in what is walked over, static nodes included. Null and dead handles do nothing.

  /// Moves animations that hang on a node's core, or on the material of its geometry, to the node itself, for `node` and
  /// all below it. A node without animations takes over the attachment. A node with animations takes every second tree,
  /// beginning with the first; the others stay, so call again until nothing moves.
  void verifyToKeld60R(osg::NodePtr const& node);
  /// Takes out of the clip structure the blocks and shape caches that no node or material of the scene holds, then the
  /// clips and blocks that are empty. Nothing while getVerifyClipStructure() is false.
  void verifyClipStructure();
  /// The same for one tree, with the ids of the cores that are to stay. True when `node` itself was taken out of its
  /// parent.
  bool verifyClipStructureByNodeR(osg::NodePtr const& node, std::set<unsigned int> const& ids);
  /// Inserts the container ids of the cores of all blocks and shape caches of the scene's nodes and, `withMaterials`, of
  /// its materials. (The name is spelled as hosts call it.)
  void getSceneAnimBlockAndTimeShapeChacheIds(std::set<unsigned int>& ids, bool withMaterials);
  /// The same at and below a node. Below a node without core nothing is found.
  void getAnimBlocksAndTimeShapeCachesR(osg::NodePtr const& node, std::set<unsigned int>& ids);

  // --- Animation files ----------------------------------------------------------------------------------------
  // A file holds the animations of one container without its scene, and an empty object of the type of that container
  // (of the material, or of the node's core). By that object the rule of pasting decides what the animations can be
  // loaded onto. It has no material of its own, so trees of a geometry with a material fit geometries without one. Main
  // thread.

  /// Saves all top-level animations of a node or material, or one tree alone when `source` is one, into a scene file,
  /// compressed. The file is either complete and new, or what it was before. False, with an error line in the log, when
  /// a tree hangs on nothing in the scene, when a container is neither node nor material or has no attachment, and when
  /// the file can't be written; without a line when an argument is null or dead. The scene is not changed.
  bool saveAnimations(char const* fileName, osg::AttachmentContainerPtr const& source);
  /// Adds copies of a file's trees to what a node or material has; blocks and clips get unique names, top-level curves
  /// keep theirs. The extension must be "osb", "json", "kdb", "kdp" or "kdt", in lower case. With `notify`, "pastedAnimations"
  /// is sent. False, with an error line in the log and nothing added, when the file can't be read, holds no animations,
  /// or does not fit; without a line when an argument is null or dead.
  bool loadAnimationsTo(osg::AttachmentContainerPtr const& target, char const* fileName, bool notify);
  /// The same for several targets, with the file read once. A target that does not fit is passed over, with a warning;
  /// null and dead ones without. With `notify`, "pastedAnimations" is sent once whenever the file could be read.
  void loadAnimationsTo(std::vector<osg::NodePtr> const& targets, char const* fileName, bool notify);
  void loadAnimationsTo(std::vector<osg::MaterialPtr> const& targets, char const* fileName, bool notify);

  // --- Animations of older releases ---------------------------------------------------------------------------

  /// Builds the animations that older releases kept as one XML text: curves and blocks on the nodes at and below `root`
  /// whose attachments name them by `OldRecordIds`, and the clips at the end of the text in the clip structure. A block
  /// in a clip finds its node by the `OldFieldNumbers` of all nodes of the scene; it gets a curve for every channel of
  /// that node, and the node gets a copy that shares its curves and is switched off. Attachments that are empty
  /// afterwards are removed. Frames are converted to seconds by the current frame rate.
  ///
  /// That copy is pasted, so the copy buffer holds the last such block afterwards. Without a callback that destroys
  /// nodes (beginScene sets one) the buffer is never cleared, and each block is pasted along with all before it.
  ///
  /// A text that is not well-formed prints one line on standard output and changes nothing. What is missing or fits
  /// nothing is left out in silence. A null or dead root and an empty text do nothing. Linear in the text and the scene;
  /// main thread.
  void convertXMLAnimations(osg::NodePtr const& root, std::string const& xml);
  /// The node of the first pair whose channel name with its suffix behind it is `name`; null when there is none.
  osg::AnimNodePtr findCurveInVector(std::string const& name,
                                     std::vector<std::pair<knOSGChannelData, osg::AnimNodePtr>> const& list);

  // --- Camera shots -------------------------------------------------------------------------------------------
  // A shot describes a move of a camera and has no curves of its own; here it gets them: nine for from, at and up, and
  // one for the exposure when it fades. Null and dead handles do nothing. Times are in seconds.

  /// Makes the curves of every shot without children at and below `animNode` for the camera of `cameraNode`. A clone of
  /// each shot, which shares the curves, is added to the animations of that node; the offset in time of the shot itself
  /// doubles. If the core of `cameraNode` is not an UberCamera, an error is logged.
  void convertShotToCurvesR(osg::AnimNodePtr const& animNode, osg::NodePtr const& cameraNode);
  /// Makes the curves of one shot, or replaces their keys where the curves exist.
  void createAnimationCurvesForShotNode(osg::AnimNodePtr const& shotNode, osg::UberCameraPtr const& camera);
  /// Sets the first key of all curves of shots and camera tracks at and below `root` to the present values of their
  /// cameras.
  void updateCameraShotCurves(osg::AnimNodePtr const& root);
  /// The same for all such curves at and below `animNode`, with the values of the camera of `cameraNode`, whichever
  /// camera they were made for.
  void updateCameraShotCurvesR(osg::AnimNodePtr const& animNode, osg::NodePtr const& cameraNode);
  /// Inserts the nodes of all shots at and below `animNode`.
  void getCameraShotsR(osg::AnimNodePtr const& animNode, std::set<osg::AnimNodePtr>& out);
  /// The first camera node of the scene whose animations hold the shot; null when there is none.
  osg::NodePtr getCameraNodeWithAnimationShot(osg::AnimNodePtr const& shotNode);

  // --- Camera tracks ------------------------------------------------------------------------------------------
  // A track is a node with a `CameraTrack` core below a camera's node; its children are viewpoints, which the camera
  // visits in order. Here it gets a block with a curve for every channel of the camera. Null and dead handles, and
  // nodes that are no track, do nothing and give null.

  /// Gives a track without animation attachment its block, and returns it.
  osg::AnimNodePtr createMissingCameraTrackBlockForNode(osg::NodePtr const& trackNode);
  /// Adds a curve for every channel of the track's camera to `animNode`, but for the named fields.
  void createCameraTrackAnimationCurves(osg::AnimNodePtr const& animNode, osg::NodePtr const& trackNode,
                                        std::vector<std::string> const& ignoredFields);
  /// Replaces the keys of all curves of the track's block. Sends "updateClipScene" when its length changes.
  void updateCameraTrackBlockForNode(osg::NodePtr const& trackNode);
  /// The same for one curve, without a message.
  void updateCameraTrackAnimationCurve(osg::AnimCurvePtr const& curve, osg::NodePtr const& trackNode);
  /// Replaces the block, wherever it occurs, by new ones with the channels that the camera has now. Their places in time
  /// are lost.
  void recreateCameraTrackBlockForNode(osg::NodePtr const& trackNode);
  /// The block of a track that has exactly one top-level animation.
  osg::AnimNodePtr getCameraTrackBlock(osg::NodePtr const& trackNode);
  /// Inserts all blocks of camera tracks at and below `animNode`.
  void getCameraTrackBlocksR(osg::AnimNodePtr const& animNode, std::set<osg::AnimNodePtr>& out);
  /// The first track of the scene that holds the block.
  osg::NodePtr getCameraTrackNodeWithAnimationBlock(osg::AnimNodePtr const& block);
  std::set<osg::NodePtr> getCameraTrackNodesWithAnimationBlocks(std::set<osg::AnimNodePtr> const& blocks);
  /// Takes a block out of the clip structure, and clips that are empty without it.
  void deleteCameraTrackBlockInClips(osg::AnimBlockPtr const& block);

  // --- Camera flights -----------------------------------------------------------------------------------------
  // A flight moves a camera from where it is to a target, by curves that are made for it below the camera's
  // `AnimationRoot` and played by the queue. A new flight ends the former one. Durations are in seconds; if one is not
  // above 0, only the curves of `fov` and `roll` are made. A camera that is neither in the scene nor in the pool is not
  // moved. Fields in `ignoredFields`, which may name "from" and "at", are not keyed. The flight of a camera with an aim
  // node also moves that node and the up vector node. Null and dead cameras do nothing.

  /// To the state of another camera: its view, lens, tonemapping and fog.
  void animateCamera(osg::UberCameraPtr const& camera, osg::UberCameraPtr const& viewpoint, float duration,
                     std::vector<std::string> const& ignoredFields);
  /// Through a camera track.
  void animateCamera(osg::UberCameraPtr const& camera, osg::NodePtr const& trackNode,
                     std::vector<std::string> const& ignoredFields);
  /// To a camera's position and orientation in the world. A zero `up` means that of the matrix, zero `frustumSides` (left,
  /// right, bottom, top) leave the frustum as it is.
  void animateCamera(osg::UberCameraPtr const& camera, osg::TransformationMatrix<osg::Real32> const& matrix,
                     osg::Vec4f const& frustumSides, osg::Vec3f const& up, float duration);
  /// Turns the camera in place to a point of the world, by the smaller angle. A zero `up` means the camera's own.
  void animateCamera(osg::UberCameraPtr const& camera, osg::Pnt3f const& at, osg::Vec3f const& up,
                     float duration);
  /// To a view in the camera's own space (that of its node's parent), angle of view and roll in degrees.
  void animateCamera(osg::UberCameraPtr const& camera, osg::Pnt3f const& from, osg::Pnt3f const& at,
                     osg::Vec3f const& up, float fov, float roll, float duration);
  /// Stops the camera's flight or turntable, and sets the `PostCycles` of its root to 0.
  void stopCameraAnimation(osg::UberCameraPtr const& camera);
  /// Makes the flight to another camera's state without starting it, and returns its root.
  osg::AnimNodePtr prepareCameraAnimation(osg::UberCameraPtr const& camera,
                                          osg::UberCameraPtr const& viewpoint, float duration,
                                          std::vector<std::string> const& ignoredFields);
  /// The parts of flights: each adds curves below `animNode` that lead from the present values to the given ones, and
  /// announces its children. Channels are paired by index; lists of different lengths give no curves.
  void createViewpointAnimationCurves(osg::AnimNodePtr const& animNode,
                                      std::vector<knOSGChannelData> const& fromChannels,
                                      std::vector<knOSGChannelData> const& toChannels, float duration,
                                      std::vector<std::string> const& ignoredFields);
  void createFromAtUpCurves(osg::AnimNodePtr const& animNode, osg::UberCameraPtr const& camera,
                            osg::Pnt3f const& from, osg::Pnt3f const& at, osg::Vec3f const& up,
                            float duration);
  void createFrustumSidesCurves(osg::AnimNodePtr const& animNode, osg::UberCameraPtr const& camera,
                                osg::Vec4f const& sides, float duration);
  void createRotationCurves(osg::AnimNodePtr const& animNode, osg::UberCameraPtr const& camera,
                            osg::Vec3f rotation, float duration);

  // --- Turntable ----------------------------------------------------------------------------------------------

  /// Plays one revolution of the camera around what it looks at, in its `TurntableAnimationDuration`; without end when
  /// its `TurntableLoopFlag` is set, with decreasing angles when its `TurntableBackwardsFlag` is. Ends as a flight does.
  void animateCameraTurntable(osg::UberCameraPtr const& camera);
  /// Makes the curve for it.
  void createTurntableCurves(osg::AnimNodePtr const& animNode, osg::UberCameraPtr const& camera);

  // --- Motion blur --------------------------------------------------------------------------------------------
  // For renderers that blend several samples of one frame: each sample shows the scene a little later than the present
  // time, which stays as it is. Sceneplates stay out of samples. Aim constraints are evaluated with each.

  /// Moves the scene to a sample: `sample` is its position in the shutter interval of the camera, 0 to 1. Nothing happens
  /// for a null or dead camera, for one whose `MotionBlur` is off, and for the time that was sampled last.
  void applyMotionBlur(osg::UberCameraPtr const& camera, float sample);
  /// Moves the scene back to the present time. Does nothing if no sample was taken since the last reset.
  void resetMotionBlur();
  /// Limits samples to one animation tree, by its container id, and in it to the nodes that take part in motion blur;
  /// 0, as at first, means all animations of the scene. Samples of an id that names nothing evaluate nothing.
  void setMotionBlurObjectID(unsigned int id) { _motionBlurObjectId = id; }
  unsigned int getMotionBlurObjectID() const { return _motionBlurObjectId; }
  void resetMotionBlurObjectID() { _motionBlurObjectId = 0; }

  // --- Who uses an animation ----------------------------------------------------------------------------------

  /// Adds to `count` how many nodes of the tree have `object` as their core. Null arguments add nothing.
  void findAndCountR(osg::AnimNodePtr const& node, osg::AnimObjectPtr const& object, unsigned int& count);

  // --- Fewer points -------------------------------------------------------------------------------------------
  // Ramer-Douglas-Peucker (Ramer 1972; Douglas and Peucker 1973). The distance of a point is that from the line
  // through the ends of its stretch, in the plane of seconds and values, neither of them scaled: at a steep place a
  // small distance can be a large difference in value. For a bound on the values, and for curves whose tangents
  // matter, see knCurveReduction.
  //
  // Points that stay are unchanged and in their order. The first and the last point of the list always stay. A stretch
  // is split at its farthest point, which stays too, if that lies farther than the tolerance; else all points between
  // its ends are removed, as they also are if both ends are at the same time. Cost: usually n log n distances, n
  // squared at worst.

  /// Appends to `out` the points that are left of `points`; nothing if the tolerance is negative or not a number. The
  /// last step of the distance is computed in double precision.
  void douglasPeuckerPointReduction(osg::MField<osg::Pnt2f> const& points, float tolerance,
                                    osg::MField<osg::Pnt2f>& out);
  /// Reduces the keys of each curve, in parallel, at a tolerance of 0.0001, and announces each curve. The tangents are
  /// lost: straight lines join what is left. Null and dead handles are skipped; a curve that is listed twice is
  /// announced twice. Distances are in single precision throughout, so a point close to the tolerance can be decided
  /// otherwise than by the overload above.
  void douglasPeuckerPointReduction(std::vector<osg::AnimCurvePtr> const& curves);

  // --- Renaming curves ----------------------------------------------------------------------------------------
  // Tables map the name of a curve (of the field it drives) to a new one. A new name of more than two characters with a
  // dot before the last one, such as "color.G", also sets the component: the last character becomes the suffix.

  /// Renames a curve by a table: its name and its channel, and its node after name and suffix. A new component also sets
  /// the colour and the value index. False, with nothing changed, when the node is null, dead or no curve, or when the
  /// table does not have the name.
  bool renameCurve(osg::AnimNodePtr const& node, std::map<std::string, std::string> const& names);
  /// The same for all curves in the animations of one node, including empty and inactive ones but not those of vertex
  /// animations. Nodes without motion blur are left out if the last getAnimCurveData left them out.
  void renameCurves(osg::NodePtr const& node, std::map<std::string, std::string> const& names);
  /// Gives each curve that has no channel name the name of its node without dot and suffix: in the animations of all nodes
  /// at and below `root` and of its materials. A null root means the whole scene. Trees of any depth; linear.
  void updateSceneChannelNames(osg::NodePtr root);

 private:
  friend struct knAnimManagerAccess;  ///< tests

  knAnimManager();
  ~knAnimManager();

  static void appendKeyableNames(std::string& names);
  std::string getUniqueName(std::string const& name);
  osg::AnimNodePtr createCameraTrackBlock(osg::NodePtr const& trackNode);
  static float perpendicularDistance(osg::Pnt2f p, osg::Pnt2f a, osg::Pnt2f b);
  void updateChannelNamesR(osg::AttachmentContainerPtr const& container);
  void updatePtrs(std::vector<knCurveData>& data, bool setTime, float time);
  void gatherShapeCachesR(osg::NodePtr const& node, knDynBlockArray<osg::AnimNodePtr>& caches,
                          std::set<unsigned int>& visited);
  void collectRoots(osg::NodePtr const& root, std::set<unsigned int>& visited,
                    knDynBlockArray<osg::AnimNodePtr>& roots,
                    knDynBlockArray<osg::AnimNodePtr>& timeShapeCacheRoots);
  void computeAnimParents(osg::AnimNodePtr const& animNode, std::set<osg::FieldContainerPtr>& parents);

  knDynBlockArray<osg::AnimNodePtr> _timeShapeCacheRoots{128};
  std::vector<knCurveData> _curveEditorData;
  std::string _keyableAttributes;
  double _fps = 24.0;
  double _playbackFPS = 24.0;
  unsigned int _playbackRangeHint = 0;
  unsigned int _playbackContextHint = 0;
  double _currentTime = 0.0;
  int _fullRangeStart = 0;
  int _fullRangeEnd = 50;
  int _detailedRangeStart = 0;
  int _detailedRangeEnd = 25;
  bool _loopTimeline = true;
  bool _evaluateSubframes = false;
  bool _keepKeysAtFrame = false;
  bool _verifyClipStructure = true;
  unsigned int _motionBlurObjectId = 0;
  std::optional<double> _lastSampleTime;  ///< none was taken at first
  /// Trees and their aims: copies that hold a reference each, and what they were made from, by the same places.
  std::vector<std::pair<osg::AnimNodePtr, osg::FieldContainerPtr>> _copyBuffer;
  std::vector<std::pair<osg::AnimNodePtr, osg::FieldContainerPtr>> _copySources;
  std::map<osg::AnimNodePtr, osg::AnimNodePtr>
      _clipNodeBuffer;  ///< children, a reference to each, to parents
  osg::AnimAttachmentPtr _structureAttachment;
  osg::AnimNodePtr _sceneStructureRoot;
  osg::AnimNodePtr _clipStructureRoot;
};

/// The names of the host's render passes, in their order; a table for the host that the library does not read.
KNANIM_API std::vector<std::string> const& knRenderPassNames();

/// The body of the parallel loop over curve records. Workers write only the records of their own range.
class KNANIM_API knAnimComputeCurveValueTask {
 public:
  /// `time` is kept and never read: each record has its own.
  knAnimComputeCurveValueTask(std::vector<knCurveData>* data, float time) : _data(data), _time(time) {}

  /// Computes the records of the range, a tbb::blocked_range as a rule, in order of index.
  template <class Range>
  void operator()(Range const& range) const {
    compute(range.begin(), range.end());
  }

 private:
  void compute(unsigned int first, unsigned int end) const;

  std::vector<knCurveData>* _data;
  [[maybe_unused]] float _time;
};

/// A curve in a reduction, and what is left of its points.
struct knCurvePointsRecord {
  /// The curve.
  osg::AnimCurvePtr curve;
  osg::MField<osg::Pnt2f> points;  ///< empty at first, written by one task
};

/// The body of the parallel loop of point reduction. Workers read curves, and write only the records of their own range.
class KNANIM_API knAnimCurvePointReductionTask {
 public:
  /// The records are the caller's and outlive the task.
  explicit knAnimCurvePointReductionTask(std::vector<knCurvePointsRecord>* records) : _records(records) {}

  /// Reduces the curves of the range, a tbb::blocked_range as a rule.
  template <class Range>
  void operator()(Range const& range) const {
    reduce(range.begin(), range.end());
  }

 private:
  void reduce(unsigned int first, unsigned int end) const;

  std::vector<knCurvePointsRecord>* _records;
};
