#pragma once

#include "knAnimExport.h"
#include "model/camera/UberCamera.h"
#include "model/fields/BitVector.h"
#include "model/geometry/Geometry.h"
#include "model/records/knCurveData.h"
#include "model/records/knOSGChannelData.h"
#include "model/scenedata/MaterialPool.h"
#include "model/utils/knIdTable.h"

#include <tbb/concurrent_unordered_map.h>

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

class FlightTree;
class PlayingPlan;
struct GatheredChunk;
struct WriteRule;

/// Finds the animation trees of a scene.
class KNANIM_API knAnimNodeCollector {
 public:
  /// Trees by their owners.
  using Map = tbb::concurrent_unordered_map<unsigned int, std::vector<osg::AnimNodePtr>>;

  /// Adds an entry for every node at and below `node` whose attachment has an active tree: the node's container id,
  /// and the tree's nodes, parents before children, without inactive and hidden branches. Camera tracks are left out
  /// with everything below them, and so are the children of component geometries. The walk skips what carries no
  /// animation, then the trees are walked in parallel. Trees may be of any depth. Null and dead nodes add nothing. Main
  /// thread.
  static void gatherAnimNodes(osg::NodePtr const& node, Map& map);
};

/// Runs evaluations: gathers curves, computes their values, writes fields and announces them. All operations are for
/// the host's main thread; parallel work is done when they return. Host code that runs within a call (handlers of
/// `changed`, callbacks, receivers of messages) may edit and destroy anything, and evaluate again.
class KNANIM_API knAnimEvaluator {
 public:
  /// Names that hosts also find here.
  using knCurveData = ::knCurveData;
  using knOSGChannelData = ::knOSGChannelData;
  /// Owners by the container id of the curve or cache core that hangs on them.
  using ParentMap = std::unordered_map<unsigned int, knContainerSet>;
  /// The geometries of each shape cache, by the cache's node.
  using TimeShapeCacheMap = std::map<osg::AnimNodePtr, std::set<osg::GeometryPtr>>;

  knAnimEvaluator();
  ~knAnimEvaluator();
  /// There is one evaluator.
  knAnimEvaluator(knAnimEvaluator const& other);
  knAnimEvaluator& operator=(knAnimEvaluator const& other);

  /// The one evaluator, made at first use and destroyed at process end. Any thread.
  static knAnimEvaluator* the();

  // --- Host callbacks -----------------------------------------------------------------------------------------

  /// Gives the scene's material pool. While it is empty, or gives null, the other callback is asked. beginScene fills it
  /// in, see knAnimManager::fillEmptyCallbacks.
  static void setGetMaterialPoolCB(std::function<osg::MaterialPoolPtr()> callback);
  /// Fills in the scene's materials. It may give null, dead and repeated handles.
  static void setGetSceneMaterialsCB(std::function<void(std::vector<osg::MaterialPtr>&)> callback);

  /// The callbacks as they are set.
  static std::function<osg::MaterialPoolPtr()> _getMaterialPoolCB;
  static std::function<void(std::vector<osg::MaterialPtr>&)> _getSceneMaterialsCB;

  // --- Evaluation ---------------------------------------------------------------------------------------------

  /// Evaluates the scene at `time` (seconds): the animations of everything below the scene's root and its
  /// sceneplate root, and of its materials. Fields are written in a fixed order of gathering and announced in one
  /// commit; a curve that several objects share is computed once and written to all. With records in `filter` only
  /// those curves are evaluated that equal one of them (same node and curve, value and offset 0, as in a record that
  /// was never computed), and no caches. `ignored` is not read. Without a material-side root in the scene's record
  /// nothing is evaluated. Sequences take no part.
  ///
  /// The host is asked for its materials first, so that what it edits then is seen; what is written is read from each
  /// curve when its turn to be written comes.
  void evaluate(float time, bool ignored, std::vector<knCurveData> filter);

  /// Evaluates one tree at `time` (seconds) for all its owners. Each node's `PostCycles` wrap the time for what is below
  /// it. Of overlapping clips below a clip, one in progress wins a channel, else the one that ended last, else the one
  /// that begins first. For that, curves are written in this order: those that begin later, the soonest last; those
  /// that have ended, the latest end last; those in progress. Any other tree writes in ascending container id.
  ///
  /// `motionBlurOnly` leaves out curves whose node takes no part in motion blur. `commit` announces what changed;
  /// without it the announcement waits for the next commit. `checkParentMap` rebuilds the table of owners when animation
  /// trees have changed.
  void evaluateObject(osg::AnimNodePtr node, float time, bool motionBlurOnly, bool commit,
                      bool checkParentMap);
  /// The same for the owners in `parents`, without consulting the table; nothing when there are none. They are noted as
  /// owners of `node` itself until the table is rebuilt.
  void evaluateObject(osg::AnimNodePtr node, std::set<osg::FieldContainerPtr> const& parents, float time,
                      bool motionBlurOnly, bool commit);

  /// Frees the memory that evaluations keep for the next one.
  void freeMemory();

  /// Switches the sequences of object evaluation off and on. On at first.
  void blockSequenceEvaluation(bool block) { _blockSequenceEvaluation = block; }
  /// Switches the curves that write to a sceneplate itself off and on. On at first. What writes to the sceneplate's node,
  /// such as "visible", and values for a single channel are written all the same.
  void blockSceneplateEvaluation(bool block) { _blockSceneplateEvaluation = block; }

  // --- Playing queue ------------------------------------------------------------------------------------------
  // Trees that play on their own clocks, from the moment they were enqueued. Null handles are ignored. The queue may be
  // changed, and trees destroyed, from any callback and message receiver that runs inside these operations. A tree that
  // is destroyed while it plays is passed over and counted until it is dequeued.

  /// With `start`, the tree begins to play now, from its start if it plays already. Without, it begins at the end of the
  /// next `loop` and is first evaluated in the one after that.
  void enqueue(osg::AnimNodePtr const& node, bool start);
  /// Takes a tree out of the queue. If it was playing, its finished callbacks are called when it has `finished`, else
  /// those for a single call are dropped; then "dequeuedAnimation" is sent with "animNodeId", an unsigned int. A tree that
  /// was destroyed while it was in the queue leaves without a message.
  void dequeue(osg::AnimNodePtr const& node, bool finished);
  /// Takes all trees out, none of them as finished. What receivers start meanwhile is taken out too, without a message.
  void dequeueAll();
  /// Whether a tree with a core of that name plays; a paused one does. Linear in the number of playing trees.
  bool isPlaying(std::string const& name) const;
  /// The node's `Playing`.
  bool isPlaying(osg::AnimNodePtr const& node) const;
  /// Evaluates all playing trees at the present simulation time, announces what changed in one commit, and sends
  /// "evaluatedAnimationObjects" with "count", an unsigned long: all in the queue, paused and destroyed ones too. Then
  /// trees that have reached their end are dequeued as finished, and those that wait begin. A tree that ends is evaluated
  /// at its end exactly. Call it once per pass of the host's loop; with an empty queue it is free.
  void loop();

  // --- Gathering ----------------------------------------------------------------------------------------------

  /// Adds to the records of the running evaluation all curves of the animation trees at and below `root`.
  /// `motionBlurOnly` leaves out nodes that take no part in motion blur, `keepEmpty` takes curves without keys in.
  /// See knAnimNodeCollector for what is passed over.
  void gatherAnimDataR(osg::NodePtr const& root, bool motionBlurOnly, bool keepEmpty);
  /// The same for all materials of the scene.
  void gatherMaterialAnimData(bool motionBlurOnly, bool keepEmpty);
  /// The same for one tree of `container`, a node or a material.
  void getAnimDataR(osg::AnimNodePtr const& node, osg::FieldContainerPtr const& container,
                    bool motionBlurOnly, bool keepEmpty);
  /// The same for one node of such a tree.
  void getAnimDataFromNode(osg::AnimNodePtr const& node, osg::FieldContainerPtr const& container,
                           bool motionBlurOnly, bool keepEmpty);

  // --- Field writing ------------------------------------------------------------------------------------------

  /// Writes a value wherever the curve is used in the scene. `commit` announces it. Walks the whole scene: for
  /// single edits. A null or dead curve ends the call.
  void setOSGFieldValue(osg::AnimCurvePtr const& curve, float value, bool commit);
  /// Writes a value to a channel. A channel of a container that is gone ends the call. The channels
  /// "aimTranslation" and "upTranslation" of a camera take effect in whole evaluations only.
  void setOSGFieldValue(knOSGChannelData const& channel, float value, bool commit);

  // --- Aims and owners ----------------------------------------------------------------------------------------

  /// Finds the container that a curve of `owner` (a node or a material) writes to, and appends to `parents` the
  /// containers that must be told of the change. `aim` is left as it is where there is none. Null and dead arguments end
  /// the call.
  void computeAim(osg::AnimCurvePtr const& curve, osg::FieldContainerPtr const& owner,
                  osg::FieldContainerPtr& aim, std::vector<osg::FieldContainerPtr>& parents);
  /// The container that a curve is read from: the aim for the first owner in handle order; null when nothing in the scene
  /// holds the curve.
  osg::FieldContainerPtr getFirstAim(osg::AnimCurvePtr const& curve);
  /// Rebuilds the table of owners, from `root` on, when animation trees have changed since the last time.
  void updateSceneAnimParentMap(osg::NodePtr root);

 private:
  friend struct knAnimEvaluatorAccess;  ///< tests
  friend class FlightTree;              ///< notes the owners of the curves that it makes

  /// What one apply has for a camera. A vector counts once its flag is false.
  struct FromAtUpData {
    osg::Pnt3f from;
    osg::Pnt3f at;
    osg::Vec3f up;
    osg::Vec3f aim;
    osg::Vec3f upTranslation;
    bool fromUnset = true;
    bool atUnset = true;
    bool upUnset = true;
    bool aimUnset = true;
    bool upTranslationUnset = true;
  };
  using CameraData = std::map<osg::UberCameraPtr, FromAtUpData>;
  using SortedCaches = std::vector<std::pair<osg::AnimNodePtr, std::set<osg::GeometryPtr>>>;
  /// What is kept from one gathering to the next: memory, and a plan of the scene.
  struct GatheringBuffers;
  class PlannedEvaluation;
  class Aside;

  bool evaluateByPlan(std::vector<osg::MaterialPtr> const& materials);
  void finishScene(float time);
  void gatherAnimData(bool motionBlurOnly, bool keepEmpty, bool computeValues);
  void gatherSections(std::vector<osg::MaterialPtr> const& materials, std::size_t first, bool motionBlurOnly,
                      bool keepEmpty, bool computeValues);
  void findAnimatedMaterials(std::vector<osg::MaterialPtr> const& materials);
  void gatherOwners(bool motionBlurOnly, bool keepEmpty, bool computeValues);
  void mergeChunk(GatheredChunk& chunk, std::size_t firstOwner);
  bool isBlocked(osg::FieldContainerPtr const& aim) const;
  void addRecord(knCurveData&& record);
  void addCurve(osg::AnimNodePtr const& node, osg::AnimCurvePtr const& curve, float time,
                osg::FieldContainerPtr const& aim, std::vector<osg::FieldContainerPtr> const& parents);
  void addCache(osg::AnimNodePtr const& node, osg::FieldContainerPtr const& owner);
  void getFullAnimDataR(osg::AnimNodePtr const& node, float time, std::set<osg::AnimNodePtr>& sequences,
                        bool motionBlurOnly);
  void addToTree(osg::AnimNodePtr const& node, float time, std::set<osg::AnimNodePtr>& sequences);
  void addCurveOfTree(osg::AnimNodePtr const& node, osg::AnimCurvePtr const& curve, float time);

  void evaluateTree(osg::AnimNodePtr node, float time, bool motionBlurOnly, bool commit, bool collectCameras);
  void writeClip(std::vector<knCurveData> const& data, bool collectCameras);
  /// The places of the records of a clip in the order in which they are written.
  std::vector<std::size_t> sortCurves(std::vector<knCurveData> const& data) const;
  void keepMatching(std::vector<knCurveData>& data, std::vector<knCurveData> const& filter) const;
  void prefetchTrees(std::vector<osg::AnimNodePtr> const& trees, std::size_t now) const;
  bool step(osg::AnimNodePtr const& node, double now);
  void playAll(PlayingPlan& plan, double now, std::vector<osg::AnimNodePtr>& finished);
  void playPlanned(PlayingPlan& plan, std::vector<osg::AnimNodePtr>& finished);
  void startPending();
  void evaluateSequences(std::set<osg::AnimNodePtr> const& nodes, float const& time, float const& lastTime);
  void evaluateTimeShapeCaches(TimeShapeCacheMap const& caches, float time);
  void evaluateTimeShapeCaches(osg::AnimNodePtr node, std::set<osg::GeometryPtr> const& geometries,
                               float time);
  SortedCaches sortCaches(TimeShapeCacheMap const& caches, float time) const;
  void emptyRecords();
  std::vector<knCurveData> takeRecords();
  void giveBackRecords(std::vector<knCurveData>&& data);

  /// The handle tells whether the container that was marked still has its id.
  struct FieldMark {
    osg::FieldContainerPtr container;
    osg::BitVector mask;
  };
  struct FieldWrite;
  class WritePhase;

  void setOSGFieldValue(knContainerSet const& aims, knContainerSet const& parents, FieldWrite write,
                        CameraData* cameraData);
  void setOSGFieldValue(knCurveData const& data, CameraData* cameraData);
  void writeToAim(osg::FieldContainerPtr const& aim, FieldWrite& write, CameraData* cameraData);
  void writeVisibility(osg::Node& node, float value);
  void writeCamera(osg::UberCameraPtr const& camera, WriteRule const& rule, FieldWrite const& write,
                   CameraData* cameraData);
  void setOSGFieldValues(std::vector<knCurveData> const& data, bool commit);
  void writeOne(knCurveData const& record, bool commit);
  void writeRecords(std::vector<knCurveData> const& data);
  void setLegacyCameraFromAtUp(CameraData const& cameraData);
  void markParents(knContainerSet const& parents, knContainerSet const& aims);
  void markFieldChanged(osg::FieldContainerPtr const& container, osg::BitVector const& mask);
  void commitChangedFields();

  osg::FieldContainerPtr findAimInScene(osg::AnimCurvePtr const& curve);
  void rebuildParentMap(osg::NodePtr const& root);
  /// Those of a camera's nodes that a rebuilt map would name as owners of the camera's flights.
  knContainerSet findOwnersOfFlights(osg::UberCameraPtr const& camera) const;
  void createAnimParentMap(osg::NodePtr const& root, ParentMap& parentMap);
  void createAnimParentMapR(osg::NodePtr const& node, ParentMap& parentMap);
  void getAnimParentsR(osg::NodePtr const& animNode, osg::FieldContainerPtr const& parent,
                       ParentMap& parentMap);
  void updateAnimParentsByNode(osg::AnimNodePtr const& animNode);
  void updateParentMapByAnimNodeR(osg::NodePtr const& animNode);
  void updateAnimParentsByNodeR(osg::NodePtr const& node);
  void findAndUpdateAnimParentsR(osg::NodePtr const& animNode, osg::FieldContainerPtr const& parent);
  void addAnimParentsByNodeR(osg::NodePtr const& animNode, osg::FieldContainerPtr const& parent);
  void removeAnimParentsByNodeR(osg::NodePtr const& animNode);

  std::vector<knCurveData> _curveData;  ///< the records of the running evaluation
  knIdTable<FieldMark> _changedFields;  ///< fields written and not yet announced
  int _writePhases = 0;                 ///< how many have begun and not ended
  bool _isAsking = false;               ///< owners, which may come back here, while curves are gathered
  bool _hostRan = false;                ///< since curves were last gathered: they may say something else now
  ParentMap _animParentMap;             ///< survives evaluations
  osg::NodePtr _parentMapRoot;          ///< of the scene that the map was made for
  osg::UInt64 _parentMapRebuilds = 0;
  osg::UInt64 _parentMapEdits = 0;           ///< rebuilding is one
  knIdTable<osg::UInt32> _curveMap;          ///< by curve id: the place of its first record in `_curveData`
  TimeShapeCacheMap _timeShapeCaches;        ///< of the running evaluation
  osg::UInt64 _queueEdits = 0;               ///< how often the next one has changed
  std::set<osg::AnimNodePtr> _playingNodes;  ///< survive evaluations, as do
  std::set<osg::AnimNodePtr> _pendingNodes;  ///< those that begin at the end of the next pass
  float _time = 0.F;                         ///< of the last evaluation of a scene
  bool _keepsPlans = true;                   ///< of the scene; see GatheringBuffers
  bool _blockSequenceEvaluation = false;
  bool _blockSceneplateEvaluation = false;
  std::unique_ptr<GatheringBuffers> _buffers;
};
