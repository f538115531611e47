#include "model/sceneext/AnimNode.h"

#include "model/camera/UberCamera.h"
#include "model/materials/SurfaceMaterials.h"
#include "model/scenedata/knSceneDataManager.h"
#include "model/sceneext/AnimAttachment.h"
#include "model/sceneext/AnimBlock.h"
#include "model/sceneext/AnimBuilders.h"
#include "model/sceneext/AnimSequence.h"
#include "model/sceneext/AnimShot.h"
#include "model/sceneext/AnimTreeCloning.h"
#include "model/sceneext/TimeShapeCache.h"
#include "model/sceneext/VertexAnimCurves.h"

namespace kntest::AnimNodeTest {

using AnimNodeTest = SceneTest;

// Brute force: everything is computed from the fields of the whole tree, nothing is kept. All numbers in
// these tests are short binary fractions, for which floats and doubles are exact.

struct Placement {
  double scale = 1;
  double offset = 0;
  double y = 0;
};

/// What the ancestors do to times below the node.
Placement placementAbove(AnimNode const& node) {
  Placement result;
  for (AnimNode const* above = dcastTo<AnimNode>(node.getParent()); above != nullptr;
       above = dcastTo<AnimNode>(above->getParent())) {
    result.scale *= above->getScale();
    result.offset = result.offset * above->getScale() + above->getOffset().x();
    result.y += above->getOffset().y();
  }
  return result;
}

struct Range {
  double min = std::numeric_limits<double>::infinity();
  double max = -min;
  bool isEmpty() const { return min > max; }
  void add(double time) {
    min = std::min(min, time);
    max = std::max(max, time);
  }
};

std::vector<double> timesOf(NodeCorePtr const& core) {
  std::vector<double> times;
  auto const addKeys = [&](AnimCurve const& curve) {
    for (CCPnt const& key : curve.getControlPoints()) times.push_back(key.x());
  };
  if (AnimCurve const* const curve = dcastTo<AnimCurve>(core)) addKeys(*curve);
  if (dcastTo<AnimSequence>(core) != nullptr) times.push_back(0);
  if (AnimShot const* const shot = dcastTo<AnimShot>(core)) {
    times = {0, shot->getShotDuration()};
    if (shot->getTransitionType() == 1) times[1] += shot->getTransitionDuration();
    if (shot->getTransitionType() == 2) times.push_back(shot->getTransitionDuration());
  }
  if (TimeShapeCache const* const cache = dcastTo<TimeShapeCache>(core)) {
    for (TimeShapeDataPtr const& shape : cache->getShapes()) times.push_back(shape->getTime());
  }
  if (VertexAnimCurves const* const vertices = dcastTo<VertexAnimCurves>(core)) {
    for (AnimCurvePtr const& curve : vertices->getPositionCurves()) addKeys(*curve);
    for (AnimCurvePtr const& curve : vertices->getNormalCurves()) addKeys(*curve);
  }
  return times;
}

Range rangeOf(AnimNode const& node) {
  Placement const above = placementAbove(node);
  Range range;
  for (double const time : timesOf(node.getCore()))
    range.add((time * node.getScale() + node.getOffset().x()) * above.scale + above.offset);
  for (NodePtr const& child : node.getChildren()) {
    AnimNode const* const animChild = dcastTo<AnimNode>(child);
    Range const below = animChild != nullptr ? rangeOf(*animChild) : Range();
    range.min = std::min(range.min, below.min);
    range.max = std::max(range.max, below.max);
  }
  if (!range.isEmpty())
    range.add(range.min + (range.max - range.min) * (1.0 + std::max(node.getPostCycles(), 0)));
  return range;
}

void expectRange(AnimNodePtr const& node) {
  Range const expected = rangeOf(*node);
  auto const found = animRangeOf(node);
  ASSERT_EQ(found.has_value(), !expected.isEmpty());
  if (!found) return;
  double const tolerance = 1e-6 * (std::abs(expected.min) + std::abs(expected.max));
  ASSERT_NEAR(found->min, expected.min, tolerance);
  ASSERT_NEAR(found->max, expected.max, tolerance);
  Pnt3f min, max;
  NodePtr(node)->getWorldVolume().getBounds(min, max);
  ASSERT_TRUE(node->getHidden() || (min.x() == found->min && max.x() == found->max)) << "a volume of times";
}

void expectPlacement(AnimNode const& node) {
  Placement const above = placementAbove(node);
  ASSERT_EQ(node.getAccumulatedParentScale(), above.scale);
  ASSERT_EQ(node.getAccumulatedParentOffset().x(), above.offset);
  ASSERT_EQ(node.getAccumulatedParentOffset().y(), above.y);
  ASSERT_EQ(node.getTotalScale(), above.scale * node.getScale());
  ASSERT_EQ(node.getTotalOffset(), above.scale * node.getOffset().x() + above.offset);
}

/// Nodes and cores under random edits. All nodes are held, so that what is taken out of a tree lives on.
class Forest {
 public:
  ~Forest() {
    for (AnimNodePtr const& node : _nodes) node.subRef();
    for (NodeCorePtr const& core : _cores) core.subRef();
  }

  void edit() {
    static constexpr std::array Edits{
        &Forest::add,     &Forest::move,      &Forest::insert,   &Forest::sub,       &Forest::replace,
        &Forest::clear,   &Forest::setOffset, &Forest::setScale, &Forest::moveBy,    &Forest::writeDirectly,
        &Forest::setCore, &Forest::setCycles, &Forest::setMask,  &Forest::cloneTree, &Forest::deepCloneTree,
        &Forest::unshare, &Forest::destroy,   &Forest::editCore, &Forest::editCore,  &Forest::editCore};
    (this->*Edits[number(Edits.size())])();
  }

  void check(bool allRanges) {
    for (AnimNodePtr const& node : _nodes) expectPlacement(*node);
    if (!allRanges) return expectRange(any());
    for (AnimNodePtr const& node : _nodes) expectRange(node);
  }

 private:
  UInt32 number(std::size_t count) { return static_cast<UInt32>(_random() % count); }
  Vec2f offset() { return {(static_cast<float>(number(17)) - 8) / 4, static_cast<float>(number(3))}; }
  float scale() { return std::array{0.5F, 1.F, 1.F, 2.F, -1.F, -0.5F}[number(6)]; }

  AnimNodePtr const& any() {
    while (_nodes.size() < 6) addNode(newAnimNode(anyCore(), scale()));
    return _nodes[number(_nodes.size())];
  }
  NodeCorePtr const& anyCore() {
    if (_cores.empty()) {
      _cores = {
          NodeCorePtr(),         AnimBlock::create(), AnimCurve::create(),      AnimCurve::create(),
          Group::create(),       AnimShot::create(),  TimeShapeCache::create(), VertexAnimCurves::create(),
          AnimSequence::create()};
      for (NodeCorePtr const& core : _cores) core.addRef();
    }
    return _cores[number(_cores.size())];
  }
  void addNode(AnimNodePtr const& node) {
    node.addRef();
    _nodes.push_back(node);
  }
  /// Keeps the forest small: a copied tree dies at once as often as not, when there are many nodes.
  void addTree(AnimNodePtr const& root) {
    Held const held(root);
    if (_nodes.size() > 40) return;
    addNode(root);
    for (NodePtr const& child : root->getChildren()) addNode(dcast<AnimNodePtr>(child));
    any()->addChild(root);
  }

  void add() { addNode(newAnimNode(anyCore())); }
  void move() { any()->addChild(any()); }
  void insert() { any()->insertChild(number(3), any()); }
  void sub() {
    AnimNodePtr const node = any();
    if (node->getParent()) node->getParent()->subChild(node);
  }
  void replace() {
    AnimNodePtr const node = any();
    if (node->getParent()) node->getParent()->replaceChildBy(node, any());
  }
  void clear() {
    if (number(4) == 0) any()->clearChildren();
  }
  void setOffset() { any()->setOffset(offset()); }
  void setScale() { any()->setScale(scale()); }
  void moveBy() {
    Vec2f const by = offset();
    number(2) == 0 ? any()->moveBy(by.x(), by.y()) : any()->pushOffsetDelta(by.x(), by.y());
  }
  void writeDirectly() {
    AnimNodePtr const node = any();
    node->getOffset() = offset();
    node->getScale() = scale();
    node->getPostCycles() = static_cast<Int32>(number(3));
    announceAnyhow(node,
                   AnimNode::OffsetFieldMask | AnimNode::ScaleFieldMask | AnimNode::PostCyclesFieldMask);
  }
  /// With `changed` called, or kept from being called.
  void announceAnyhow(FieldContainerPtr const& container, BitVector const& mask) {
    FieldContainerPtr::_ignore_change = number(2) == 0;
    announce(container, mask);
    FieldContainerPtr::_ignore_change = false;
  }
  void setCore() { any()->setCore(anyCore()); }
  void setCycles() { any()->setPostCycles(static_cast<Int32>(number(4)) - 1); }
  void setMask() { any()->setTravMask(number(2) == 0 ? 0xFFFFFFFFU : 0); }
  void cloneTree() { addTree(dcast<AnimNodePtr>(cloneAnimTree(any(), true))); }
  void deepCloneTree() { addTree(deepCloneAnimTree(any(), number(2) == 0 ? "" : "AnimObject")); }
  void unshare() { any()->unshareTree(""); }
  void destroy() {
    AnimNodePtr const node = any();
    std::erase(_nodes, node);
    node.subRef();
    if (node.isAlive() && node->getParent()) node->getParent()->subChild(node);
  }
  void editCore() {
    NodeCorePtr const& core = anyCore();
    if (AnimCurve* const curve = dcastTo<AnimCurve>(core)) return editCurve(*curve);
    if (AnimShot* const shot = dcastTo<AnimShot>(core)) {
      shot->setShotDuration(std::abs(offset().x()));
      shot->setTransitionDuration(std::abs(offset().x()));
      shot->setTransitionType(number(4));
    }
    if (VertexAnimCurves* const vertices = dcastTo<VertexAnimCurves>(core)) {
      auto const& curves = vertices->getNormalCurves();
      if (curves.size() > 2) return number(3) == 0 ? vertices->clearCurves() : editCurve(*curves[0]);
      vertices->addNormalCurve(newCurve({{offset().x(), 0}}));
    }
    if (TimeShapeCache* const cache = dcastTo<TimeShapeCache>(core)) {
      auto const& shapes = cache->getShapes();
      if (shapes.size() > 2) return number(3) == 0 ? cache->clearShapes() : editShape(shapes[0]);
      TimeShapeDataPtr const shape = TimeShapeData::create();
      shape->setTime(offset().x());
      cache->addShape(shape);
    }
  }
  void editShape(TimeShapeDataPtr const& shape) {
    if (number(2) == 0) return shape->setTime(offset().x());
    shape->getTime() = offset().x();
    announceAnyhow(shape, TimeShapeData::TimeFieldMask);
  }
  void editCurve(AnimCurve& curve) {
    if (number(8) == 0) return curve.clear();
    if (number(8) == 0 && timesOf(AnimCurvePtr(&curve)).size() < 3) return curve.scaleTimes(0.5);
    if (number(3) != 0 || curve.isEmpty()) return curve.addPoints({{offset().x(), 0}});
    CCPnt& last = curve.getControlPoints()[curve.getControlPoints().size() - 1];
    last.setX(last.x() + 2);
    announceAnyhow(AnimCurvePtr(&curve), AnimCurve::ControlPointsFieldMask);
  }

  std::mt19937 _random{11};
  std::vector<AnimNodePtr> _nodes;
  std::vector<NodeCorePtr> _cores;
};

TEST_F(AnimNodeTest, PlacementAndRangeAreCurrentAfterEveryEdit) {
  for (int round = 0; round < 40; ++round) {
    Forest forest;
    for (int i = 0; i < 250 && !HasFatalFailure(); ++i) {
      forest.edit();
      forest.check(i % 16 == 0);
    }
  }
}

/// A chain of nodes, built downwards. Scales of 2 and 1/2 take turns, so that the products stay small.
AnimNodePtr growChain(AnimNodePtr const& top, int levels) {
  AnimNodePtr bottom = top;
  for (int level = 0; level < levels; ++level) {
    AnimNodePtr const next = newAnimNode({}, level % 2 == 0 ? 2.F : 0.5F, level % 2 == 0 ? 1.F : -2.F);
    bottom->addChild(next);
    bottom = next;
  }
  return bottom;
}

/// Recursion would overflow the stack here, and a step of quadratic time would not come to an end.
TEST_F(AnimNodeTest, TreesMayBeDeep) {
  constexpr int Levels = 100'000;
  Held const root(newAnimNode());
  AnimNodePtr const bottom = growChain(root, Levels);
  bottom->setCore(newCurve({{1, 0}, {3, 0}}));
  EXPECT_EQ(bottom->getAccumulatedParentScale(), 2) << "the bottom itself has the last scale of 1/2";
  EXPECT_EQ(animRangeOf(root), animRangeOf(bottom));
  auto const [min, max] = animRangeOf(root).value();
  root->setScale(2);
  root->setOffset({64, 0});
  EXPECT_EQ(animRangeOf(root), (TimeRange{min * 2 + 64, max * 2 + 64}));
  EXPECT_EQ(bottom->getAccumulatedParentScale(), 4);

  Held const clone(dcast<AnimNodePtr>(cloneAnimTree(root, true)));
  Held const deepClone(deepCloneAnimTree(root, ""));
  EXPECT_EQ(animRangeOf(clone), animRangeOf(root));
  EXPECT_EQ(animRangeOf(deepClone), animRangeOf(root));
  root->unshareTree("");
}

TEST_F(AnimNodeTest, StructuralChangesRaiseTheFlagAndValuesDoNot) {
  Held const root(newAnimNode());
  Held const child(newAnimNode());
  Held const other(newAnimNode());
  Held const curve(newCurve({{0, 0}, {1, 1}}));
  Held const sceneNode(Node::create());
  Held const attachment(AnimAttachment::create());
  NodePtr const carrier = Node::create();
  carrier.addRef();
  Held const scene(Node::create());
  Held const camera(UberCamera::create());
  Held const pool(MaterialPool::create());
  Held const material(PhongMaterial::create()), plain(PhongMaterial::create());
  Held const alternatives(SwitchMaterial::create());
  Held const cache(TimeShapeCache::create());
  Held const vertices(VertexAnimCurves::create());
  material->addAttachment(AnimAttachment::create());
  for (FieldContainerPtr const& one : std::initializer_list<FieldContainerPtr>{
           *root, *child, *other, *sceneNode, *attachment, carrier, *scene, *camera, *pool, *curve})
    StructureCounter::watch(*one, true);
  struct Step {
    char const* name;
    std::function<void()> run;
    bool raises = true;
    bool grows = raises;  ///< the count of structural changes
  };
  Vec2f const offset(1, 2);
  std::vector<Step> const steps{
      {"add", [&] { root->addChild(child); }},
      {"insert", [&] { root->insertChild(0, other); }},
      {"add what is refused", [&] { child->addChild(root); }, false},
      {"set core", [&] { child->setCore(curve); }},
      {"set the same core", [&] { child->setCore(curve); }, false},
      {"offset", [&] { root->setOffset(offset); }, false},
      {"mask", [&] { child->setTravMask(0); }, false},
      {"key", [&] { curve->addPoint(Pnt2f(5, 5), offset, offset, 0, 0, false, true); }, false},
      {"take core", [&] { child->setCore({}); }},
      {"replace", [&] { root->replaceChildBy(child, newAnimNode()); }},
      {"sub", [&] { root->subChild(other); }},
      {"destroy a child", [&] { root->getChild(0).subRef(); }},
      {"below a plain node", [&] { sceneNode->addChild(child); }},
      {"away from a plain node", [&] { sceneNode->subChild(child); }},
      {"set root", [&] { attachment->setAnimationRoot(root); }},
      {"hang", [&] { sceneNode->addAttachment(attachment); }},
      {"hang again", [&] { sceneNode->addAttachment(attachment); }, false},
      {"add animation", [&] { attachment->addAnimation(child); }},
      {"clear children", [&] { root->clearChildren(); }},
      {"take away", [&] { sceneNode->subAttachment(attachment); }},
      {"hang another", [&] { sceneNode->addAttachment(AnimAttachment::create()); }},
      {"which dies there", [&] { sceneNode->getAttachments()[0].attachment.subRef(); }},
      {"hang on one that dies", [&] { carrier->addAttachment(attachment); }},
      {"subtree with animation", [&] { sceneNode->addChild(carrier); }},
      {"core of its owner", [&] { carrier->setCore(Group::create()); }},
      {"core beside it", [&] { sceneNode->setCore(Group::create()); }, false, true},
      {"take it out", [&] { sceneNode->subChildren({carrier}); }},
      {"destroy a carrier", [&] { carrier.subRef(); }},
      {"camera", [&] { sceneNode->setCore(camera); }, false, true},
      {"flights", [&] { camera->setAnimationRoot(newAnimNode()); }},
      {"camera with flights joins", [&] { scene->setCore(camera); }},
      {"which leaves", [&] { scene->setCore({}); }},
      {"subtree with flights", [&] { scene->addChild(sceneNode); }},
      {"flights end", [&] { camera->setAnimationRoot({}); }},
      {"subtree without", [&] { scene->subChild(sceneNode); }, false, true},
      {"plain material", [&] { pool->add(plain); }, false, true},
      {"animated material", [&] { pool->add(material); }},
      {"the same again", [&] { pool->add(material); }, false},
      {"without it", [&] { pool->sub(material); }},
      {"pool", [&] { scene->setCore(pool); }},
      {"cameras", [&] { pool->setCameraRoot(sceneNode); }},
      {"switch", [&] { alternatives->addMaterial(plain); }, false, true},
      {"vertex curve", [&] { vertices->addNormalCurve(AnimCurve::create()); }},
      {"no vertex curve", [&] { vertices->addPositionCurve({}); }, false},
      {"no more vertex curves", [&] { vertices->clearCurves(); }},
      {"shape", [&] { cache->addShape(TimeShapeData::create()); }, false, true},
      {"what nobody watches", [&] { Transform3DPtr(Transform3D::create()).subRef(); }, false},
      {"scene", [&] { knSceneDataManager::beginScene(); }},
      {"no scene", [&] { knSceneDataManager::endScene(); }},
      {"copy of a tree", [&] { deepCloneAnimTree(root, "").subRef(); }},
  };
  for (Step const& step : steps) {
    AnimNode::_changed = false;
    UInt64 const count = StructureCounter::get();
    step.run();
    EXPECT_EQ(AnimNode::_changed, step.raises) << step.name;
    EXPECT_EQ(StructureCounter::get() > count, step.grows) << step.name;
  }
}

TEST_F(AnimNodeTest, CopiesAreAsLongAsTheirOwnParts) {
  VertexAnimCurvesPtr const vertices = VertexAnimCurves::create();
  TimeShapeCachePtr const cache = TimeShapeCache::create();
  vertices->addNormalCurve(newCurve({{0, 0}}));
  cache->addShape(TimeShapeData::create());
  Held const root(newAnimNode(vertices));
  root->addChild(newAnimNode(cache));
  Held const copy(deepCloneAnimTree(root, ""));
  EXPECT_EQ(animRangeOf(copy), (TimeRange{0, 0}));
  dcast<VertexAnimCurvesPtr>(copy->getCore())->getNormalCurves()[0]->addPoints({{5, 0}});
  EXPECT_EQ(animRangeOf(copy), (TimeRange{0, 5}));
  dcast<TimeShapeCachePtr>(copy->getChild(0)->getCore())->getShapes()[0]->setTime(-7);
  EXPECT_EQ(animRangeOf(copy), (TimeRange{-7, 5}));
}

TEST_F(AnimNodeTest, FinishedCallbacksRunInOrderAndMayChangeThemselves) {
  Held const node(newAnimNode());
  std::string calls;
  auto const add = [&](char name, bool once, std::function<void(AnimNode&)> const& act = {}) {
    return node->registerFinishedAnimationCallback(
        [&calls, name, act](AnimNodePtr const& finished) {
          calls += name;
          if (act) act(*finished);
        },
        once);
  };
  auto const again = [&](char name, bool once) { return [&, name, once](AnimNode&) { add(name, once); }; };
  auto const fire = [&](int times) {
    calls.clear();
    for (; times > 0; --times, calls += '.') node->finishedAnimation();
    return calls;
  };
  UInt32 const a = add('a', false);
  add('b', true);
  node->registerFinishedAnimationCallback({}, false);
  add('c', false);
  EXPECT_EQ(fire(2), "abc.ac.") << "one for a single call is gone after its run";
  add('b', true);
  node->unregisterSingleCallFinishedAnimationCallbacks();
  for (UInt32 const number : {a, a, 12345U}) node->unregisterFinishedAnimationCallback(number);
  EXPECT_EQ(fire(1), "c.");

  // One that ends itself and the next, and puts a new one in their place.
  UInt32 self = 0, next = 0;
  self = add('x', false, [&](AnimNode& finished) {
    for (UInt32 const number : {self, next}) finished.unregisterFinishedAnimationCallback(number);
    again('n', false)(finished);
  });
  next = add('y', false);
  add('z', false);
  EXPECT_EQ(fire(2), "cxz.czn.");

  // A run within the end of a run: what was for the first is not called again, what is new waits for the next.
  add('s', true, [&](AnimNode& finished) {
    add('t', true);
    finished.finishedAnimation();
  });
  EXPECT_EQ(fire(2), "cznscznt.czn.");
}

class OwnSpan;
class OwnSpanBase : public AnimNode {
  KN_CONTAINER(OwnSpanBase, OwnSpan, AnimNode)
  KN_CONTAINER_END
};
/// As long as it is told to be, and as what is below it.
class OwnSpan : public OwnSpanBase {
 public:
  void getAnimVolume(BoxVolume& volume) const override {
    OwnSpanBase::getAnimVolume(volume);
    volume.extendBy(Pnt3f(end, 0, 0));
  }
  float end = 0;
};

TEST_F(AnimNodeTest, AHostsOwnSpanIsAskedAnewAtAnyDepth) {
  Held const root(newAnimNode());
  OwnSpan::Ptr const own = dcast<OwnSpan::Ptr>(OwnSpanBase::_type.createFieldContainer());
  growChain(root, 3)->addChild(own);
  growChain(own, 3)->setCore(newCurve({{0, 0}, {1, 0}}));
  for (float const end : {0.F, 1000.F, 2000.F}) {
    own->end = end;
    EXPECT_EQ(animRangeOf(root), animRangeOf(own)) << end;
  }
  kntest::growChain(own, 100'000,
                    [] { return dcast<OwnSpan::Ptr>(OwnSpanBase::_type.createFieldContainer()); });
  EXPECT_EQ(animRangeOf(root)->max, 2000);
}

KN_CONTAINER_TYPE(OwnSpanBase, OwnSpan, "TestOwnSpan")

}  // namespace kntest::AnimNodeTest
