// The scene of SceneEvaluationBench in osgAnimation: transforms with nine channels of ten keys each, updated frame by
// frame by the update traversal. A program of its own, as the peer's names and ours must not meet.
#include <benchmark/benchmark.h>
#include <osg/Group>
#include <osg/MatrixTransform>
#include <osgAnimation/BasicAnimationManager>
#include <osgAnimation/Channel>
#include <osgAnimation/Sampler>
#include <osgAnimation/StackedRotateAxisElement>
#include <osgAnimation/StackedScaleElement>
#include <osgAnimation/StackedTranslateElement>
#include <osgAnimation/UpdateMatrixTransform>
#include <osgUtil/UpdateVisitor>

#include <random>
#include <string>
#include <type_traits>

namespace {

constexpr int KeyCount = 10;
constexpr double Fps = 30.0;
constexpr int FrameCount = 30 * (KeyCount - 1);

using osgAnimation::FloatCubicBezierChannel;
using osgAnimation::Vec3CubicBezierChannel;

/// Links channels to elements itself: looking for them by name takes time with the square of their number.
class LinkedManager : public osgAnimation::BasicAnimationManager {
 public:
  bool needToLink() const override { return false; }
};

template <class Channel, class Make>
void addChannel(osgAnimation::Animation& animation, osgAnimation::UpdateMatrixTransform& update,
                std::string const& name, Make make) {
  osg::ref_ptr<Channel> const channel = new Channel;
  channel->setTargetName(update.getName());
  channel->setName(name);
  auto* const keys = channel->getOrCreateSampler()->getOrCreateKeyframeContainer();
  using Key = typename std::remove_pointer_t<decltype(keys)>::value_type;
  for (int key = 0; key < KeyCount; ++key) {
    auto const value = make();
    keys->push_back(Key(key, osgAnimation::TemplateCubicBezier<std::remove_const_t<decltype(value)>>(value)));
  }
  update.link(channel.get());
  // addChannel would measure the whole animation anew each time.
  animation.getChannels().push_back(channel.get());
}

/// Nine floats a transform, as osgAnimation stores them: a vector for the translation and one for the scale, and three
/// angles.
void addAnimatedTransform(osg::Group& root, osgAnimation::Animation& animation, int number,
                          std::mt19937& random) {
  std::uniform_real_distribution<float> value(-10.F, 10.F);
  auto const number1 = [&] { return value(random); };
  auto const vector = [&] { return osg::Vec3f(value(random), value(random), value(random)); };
  std::string const name = "node" + std::to_string(number);
  auto* const node = new osg::MatrixTransform;
  node->setName(name);
  node->setDataVariance(osg::Object::DYNAMIC);
  osg::ref_ptr<osgAnimation::UpdateMatrixTransform> const update =
      new osgAnimation::UpdateMatrixTransform(name);
  auto& elements = update->getStackedTransforms();
  elements.push_back(new osgAnimation::StackedTranslateElement("translation", osg::Vec3()));
  addChannel<Vec3CubicBezierChannel>(animation, *update, "translation", vector);
  for (int i = 0; i < 3; ++i) {
    std::string const rotation = "rotation" + std::to_string(i);
    osg::Vec3d axis;
    axis[i] = 1.0;
    elements.push_back(new osgAnimation::StackedRotateAxisElement(rotation, axis, 0.0));
    addChannel<FloatCubicBezierChannel>(animation, *update, rotation, number1);
  }
  elements.push_back(new osgAnimation::StackedScaleElement("scale", osg::Vec3(1, 1, 1)));
  addChannel<Vec3CubicBezierChannel>(animation, *update, "scale", vector);
  node->addUpdateCallback(update.get());
  root.addChild(node);
}

void updateTraversal(benchmark::State& state) {
  std::mt19937 random(11);
  osg::ref_ptr<osg::Group> const root = new osg::Group;
  osg::ref_ptr<LinkedManager> const manager = new LinkedManager;
  osg::ref_ptr<osgAnimation::Animation> const animation = new osgAnimation::Animation;
  animation->setPlayMode(osgAnimation::Animation::LOOP);
  for (int i = 0; i < state.range(0); ++i) addAnimatedTransform(*root, *animation, i, random);
  animation->computeDuration();
  manager->registerAnimation(animation.get());
  root->addUpdateCallback(manager.get());
  osg::ref_ptr<osg::FrameStamp> const stamp = new osg::FrameStamp;
  osgUtil::UpdateVisitor visitor;
  visitor.setFrameStamp(stamp.get());
  unsigned int frame = 0;
  auto const update = [&] {
    stamp->setFrameNumber(frame);
    stamp->setSimulationTime(frame / Fps);
    visitor.setTraversalNumber(frame++);
    root->accept(visitor);
  };
  update();
  manager->playAnimation(animation.get());
  update();
  auto const matrixOfLast = [&] {
    return static_cast<osg::MatrixTransform*>(root->getChild(root->getNumChildren() - 1))->getMatrix();
  };
  osg::Matrix const before = matrixOfLast();
  for (int i = 0; i < 10; ++i) update();
  if (before == matrixOfLast()) state.SkipWithError("nothing moves");
  for (auto _ : state) update();
  state.counters["per_channel"] =
      benchmark::Counter(static_cast<double>(state.range(0)) * 9.0,
                         benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(updateTraversal)->Arg(100)->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
