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
  /// The nodes of animation trees, by the container id of the node that the trees hang on.
  using Map = tbb::concurrent_unordered_map<unsigned int, std::vector<osg::AnimNodePtr>>;

  /// Adds an entry for every node at and below `node` whose attachment has an active tree: the node's container id,
  /// and the tree's nodes, parents before children, without inactive and hidden branches. Camera tracks are left out
  /// with everything below them, and so are the children of component geometries. The walk skips what carries no
  /// animation, then the trees are walked in parallel. Trees may be of any depth. Null and dead nodes add nothing. Main
  /// thread.
  static void gatherAnimNodes(osg::NodePtr const& node, Map& map);
};

/// Runs evaluations: gathers curves, computes their values, writes fields and announces them (see `osg::announce`). An
/// owner is a node or material that an animation tree hangs on; an aim is a container that a curve writes to. All
/// operations are for the host's main thread; parallel work has finished when they return. Host code that runs within a
/// call (handlers of `changed`, callbacks, receivers of messages) may edit and destroy anything, and evaluate again.
class KNANIM_API knAnimEvaluator {
 public:
  /// The same types as members.
  using knCurveData = ::knCurveData;
  using knOSGChannelData = ::knOSGChannelData;
  /// The owners of each curve and shape cache, by the container id of the curve or cache.
  using ParentMap = std::unordered_map<unsigned int, knContainerSet>;
  /// The geometries of each shape cache, by the cache's node.
  using TimeShapeCacheMap = std::map<osg::AnimNodePtr, std::set<osg::GeometryPtr>>;

  knAnimEvaluator();
  ~knAnimEvaluator();
  /// Copies the settings, the queue and the present records. The library itself uses `the()` alone.
  knAnimEvaluator(knAnimEvaluator const& other);
  knAnimEvaluator& operator=(knAnimEvaluator const& other);

  /// The one evaluator, made at first use and destroyed at process end. Any thread.
  static knAnimEvaluator* the();

  // --- Host callbacks -----------------------------------------------------------------------------------------

  /// Sets the callback that returns the scene's material pool. If it is empty or returns null, the next callback is
  /// asked instead. beginScene fills it in if it is empty, see knAnimManager::fillEmptyCallbacks.
  static void setGetMaterialPoolCB(std::function<osg::MaterialPoolPtr()> callback);
  /// Sets the callback that appends the scene's materials. Null, dead and repeated handles are allowed.
  static void setGetSceneMaterialsCB(std::function<void(std::vector<osg::MaterialPtr>&)> callback);

  /// The callbacks as they are set.
  static std::function<osg::MaterialPoolPtr()> _getMaterialPoolCB;
  static std::function<void(std::vector<osg::MaterialPtr>&)> _getSceneMaterialsCB;

  // --- Evaluation ---------------------------------------------------------------------------------------------

  /// Evaluates the scene at `time` (seconds): the animations of everything below the scene's root and its
  /// sceneplate root, and of its materials. Fields are written in a fixed order of gathering and announced in one
  /// commit; a curve that several objects share is computed once and written to all. If `filter` is not empty, only the
  /// curves that it lists are evaluated, and no caches. A record lists a curve if node and curve are the same and its
  /// value and offset are 0, as in a record that was never computed. `ignored` is not read. Without a material-side
  /// root in the scene's record nothing is evaluated. Sequences take no part.
  ///
  /// The host is asked for its materials first, so that edits which it makes meanwhile take effect. What a curve writes
  /// to is read from the curve only when its turn comes.
  void evaluate(float time, bool ignored, std::vector<knCurveData> filter);

  /// Evaluates one tree at `time` (seconds) for all its owners. Each node's `PostCycles` wrap the time for what is below
  /// it. Where clips below a clip overlap, a clip in progress wins the channel, else the one that ended last, else the
  /// one that begins next. To this end curves are written in this order: those still to begin, the next one last; those
  /// that have ended, the latest end last; those in progress. In other trees curves are written in ascending order of
  /// their container ids.
  ///
  /// `motionBlurOnly` leaves out curves whose node takes no part in motion blur. `commit` announces what changed;
  /// without it the announcement waits for the next commit. `checkParentMap` rebuilds the table of owners when animation
  /// trees have changed.
  void evaluateObject(osg::AnimNodePtr node, float time, bool motionBlurOnly, bool commit,
                      bool checkParentMap);
  /// The same for the owners in `parents`, without consulting the table of owners; an empty set evaluates nothing. They
  /// count as owners of `node` until the table is rebuilt.
  void evaluateObject(osg::AnimNodePtr node, std::set<osg::FieldContainerPtr> const& parents, float time,
                      bool motionBlurOnly, bool commit);

  /// Frees the memory that evaluations keep for the next one.
  void freeMemory();

  /// True switches off the sequences in evaluations of single trees; false, as at first, switches them on.
  void blockSequenceEvaluation(bool block) { _blockSequenceEvaluation = block; }
  /// True switches off the curves that write to a sceneplate itself; false, as at first, switches them on. Curves of
  /// the sceneplate's node, such as "visible", and single values given to setOSGFieldValue are written regardless.
  void blockSceneplateEvaluation(bool block) { _blockSceneplateEvaluation = block; }

  // --- Playing queue ------------------------------------------------------------------------------------------
  // Trees that play on their own clocks, from the moment they were enqueued. Null handles are ignored. The queue may be
  // changed, and trees destroyed, from any callback and message receiver that runs inside these operations. A tree that
  // is destroyed while it plays is skipped, but still counted until it is dequeued.

  /// With `start`, the tree begins to play now; if it plays already, it starts again. Without it, the tree begins at
  /// the end of the next `loop` and is first evaluated in the one after that.
  void enqueue(osg::AnimNodePtr const& node, bool start);
  /// Takes a tree out of the queue. If it was playing, `finished` decides: true calls its finished callbacks, false
  /// drops those for a single call. Then "dequeuedAnimation" is sent with "animNodeId", an unsigned int. No message is
  /// sent for a tree that was destroyed while in the queue.
  void dequeue(osg::AnimNodePtr const& node, bool finished);
  /// Takes all trees out, none of them as finished. What receivers start meanwhile is taken out too, without a message.
  void dequeueAll();
  /// Whether a tree whose core has that name plays; a paused tree counts as playing. Linear in the number of playing
  /// trees.
  bool isPlaying(std::string const& name) const;
  /// The node's `Playing`; false for a null or dead handle.
  bool isPlaying(osg::AnimNodePtr const& node) const;
  /// Evaluates all playing trees at the present simulation time, announces what changed in one commit, and sends
  /// "evaluatedAnimationObjects" with "count", an unsigned long: the number of trees in the queue, paused and destroyed
  /// ones included. Then trees that have reached their end are dequeued as finished, and waiting ones begin. A tree
  /// that ends is evaluated at its end exactly. Call it once per pass of the host's loop; with an empty queue it is
  /// free.
  void loop();

  // --- Gathering ----------------------------------------------------------------------------------------------

  /// Adds to the records of the running evaluation all curves of the animation trees at and below `root`.
  /// `motionBlurOnly` leaves out nodes that take no part in motion blur, `keepEmpty` includes curves without keys. See
  /// knAnimNodeCollector for what is skipped.
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

  /// Writes a value wherever the curve is used in the scene. `commit` announces it. Walks the whole scene, so it is for
  /// single edits. A null or dead curve is ignored.
  void setOSGFieldValue(osg::AnimCurvePtr const& curve, float value, bool commit);
  /// Writes a value to a channel. A channel whose container is gone is ignored. The channels "aimTranslation" and
  /// "upTranslation" of a camera take effect in whole evaluations only.
  void setOSGFieldValue(knOSGChannelData const& channel, float value, bool commit);

  // --- Aims and owners ----------------------------------------------------------------------------------------

  /// Finds the container that a curve of `owner` (a node or a material) writes to, and appends to `parents` the
  /// containers that must be told of the change. If there is none, `aim` is unchanged. Null and dead arguments do
  /// nothing.
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
