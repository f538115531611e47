#include "knanim/import/SceneConversion.h"

#include "support/Testing.h"

#include <assimp/scene.h>

namespace knanim::SceneConversionTest {

/// The keys of one node as a test writes them.
struct Channel {
  std::string node;
  std::vector<aiVectorKey> positions;
  std::vector<aiQuatKey> rotations = {};
  std::vector<aiVectorKey> scales = {};
};

aiVectorKey at(double time, float x) { return {time, {x, 2 * x, 3 * x}}; }

template <typename Key>
void give(std::vector<Key> const& keys, Key*& target, unsigned& count) {
  count = static_cast<unsigned>(keys.size());
  target = keys.empty() ? nullptr : new Key[keys.size()];
  std::copy(keys.begin(), keys.end(), target);
}

class SceneConversionTest : public ::testing::Test {
 protected:
  SceneConversionTest() { scene.mRootNode = new aiNode("root"); }

  void addChild(aiNode* parent, std::string const& name) {
    aiNode* child = new aiNode(name);
    parent->addChildren(1, &child);
  }

  void animate(std::vector<Channel> const& channels, double ticksPerSecond = 10) {
    scene.mNumAnimations = 1;
    scene.mAnimations = new aiAnimation* [1] { new aiAnimation };
    aiAnimation& animation = *scene.mAnimations[0];
    animation.mTicksPerSecond = ticksPerSecond;
    animation.mDuration = 50;
    animation.mNumChannels = static_cast<unsigned>(channels.size());
    animation.mChannels = new aiNodeAnim*[channels.size()];
    for (std::size_t i = 0; i < channels.size(); ++i) {
      aiNodeAnim& channel = *(animation.mChannels[i] = new aiNodeAnim);
      channel.mNodeName = channels[i].node;
      give(channels[i].positions, channel.mPositionKeys, channel.mNumPositionKeys);
      give(channels[i].rotations, channel.mRotationKeys, channel.mNumRotationKeys);
      give(channels[i].scales, channel.mScalingKeys, channel.mNumScalingKeys);
    }
  }

  ImportedModel convert() {
    ImportedModel model = describeScene(scene);
    EXPECT_TRUE(convertAnimation(scene, 0, model));
    return model;
  }

  aiScene scene;
};

std::vector<double> times(ImportedCurve const& curve) {
  std::vector<double> result;
  for (Key const& key : curve.keys) result.push_back(key.time);
  return result;
}

std::vector<double> values(ImportedCurve const& curve) {
  std::vector<double> result;
  for (Key const& key : curve.keys) result.push_back(key.value);
  return result;
}

using Numbers = std::vector<double>;

TEST_F(SceneConversionTest, NodesKeepTheirOrderAndGetNamesOfTheirOwn) {
  aiNode* const root = scene.mRootNode;
  for (char const* const name : {"arm", "", "arm", "arm#2", ""}) addChild(root, name);
  addChild(root->mChildren[0], "arm");
  addChild(root->mChildren[1], "bad\x01\xFFname\n");
  ImportedModel const model = describeScene(scene);
  std::vector<std::string> names;
  for (ImportedNode const& node : model.nodes) names.push_back(node.name);
  // Depth first, children in their order.
  EXPECT_EQ(names, (std::vector<std::string>{"root", "arm", "arm#2", "unnamed", "bad\uFFFD\uFFFDname\uFFFD",
                                             "arm#3", "arm#2#2", "unnamed#2"}));
  EXPECT_EQ(model.nodes[0].parent, ImportedNode::NoParent);
  EXPECT_EQ(model.nodes[2].parent, 1U);
  EXPECT_EQ(model.nodes[2].depth, 2U);
  EXPECT_EQ(model.nodes[5].parent, 0U);
}

TEST_F(SceneConversionTest, BadKeysAreDroppedWithOneWarningForEachChannel) {
  aiVectorKey const badValue{20, {1, NAN, 1}};
  animate({{"root",
            {at(0, 1), at(NAN, 5), badValue, at(INFINITY, 6), at(1e300, 7), at(30, 2)},
            {{0, aiQuaternion(0, 0, 0, 0)}, {10, aiQuaternion(1, 0, 0, 0)}, {20, aiQuaternion(NAN, 0, 0, 1)}},
            {badValue}}});
  ImportedModel const model = convert();
  ASSERT_EQ(model.curves.size(), 6U);  // no scale
  EXPECT_EQ(times(model.curves[1]), (Numbers{0, 3}));
  EXPECT_EQ(values(model.curves[1]), (Numbers{2, 4}));
  EXPECT_EQ(times(model.curves[3]), (Numbers{1}));
  ASSERT_EQ(model.warnings.size(), 3U);
  EXPECT_TRUE(model.warnings[0].starts_with("root.translation: dropped 4 of 6 keys")) << model.warnings[0];
  EXPECT_TRUE(model.warnings[2].ends_with("so the channel is not played")) << model.warnings[2];
}

TEST_F(SceneConversionTest, KeysOutOfOrderAreSortedAndOfEqualTimesTheLastStands) {
  animate({{"root", {at(30, 3), at(10, 1), at(20, 2), at(10, 4), at(40, 5), at(40, 6)}}});
  ImportedModel const model = convert();
  EXPECT_EQ(times(model.curves[0]), (Numbers{1, 2, 3, 4}));
  EXPECT_EQ(values(model.curves[0]), (Numbers{4, 2, 3, 6}));
  ASSERT_EQ(model.warnings.size(), 1U);
}

TEST_F(SceneConversionTest, ChannelsFindTheirNodesByNameAndOrder) {
  addChild(scene.mRootNode, "twin");
  addChild(scene.mRootNode, "twin");
  animate({{"twin", {at(0, 1)}},
           {"twin", {at(0, 2)}},
           {"twin", {at(0, 3)}},
           {"ghost", {at(0, 4)}},
           {"", {at(0, 5)}},
           {"empty", {}}});
  ImportedModel const model = convert();
  std::vector<std::string> names;
  Numbers firsts;
  for (ImportedCurve const& curve : model.curves) {
    if (curve.component != 0) continue;
    names.push_back(model.nodes[curve.node].name);
    firsts.push_back(curve.keys[0].value);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"twin", "twin#2", "twin#3", "ghost", "unnamed"}));
  EXPECT_EQ(firsts, (Numbers{1, 2, 3, 4, 5}));
  EXPECT_EQ(model.warnings.size(), 3U);
  EXPECT_FALSE(model.nodes[model.curves.back().node].inTree);
}

TEST_F(SceneConversionTest, RotationsRunOnAndOutsideBehavioursAreKept) {
  std::vector<aiQuatKey> turns;
  for (int i = 0; i <= 12; ++i)
    turns.emplace_back(10.0 * i, aiQuaternion(aiVector3D(0, 0, 1), 1.04719755F * float(i)));
  animate({{"root", {}, turns}});
  scene.mAnimations[0]->mChannels[0]->mPreState = aiAnimBehaviour_LINEAR;
  scene.mAnimations[0]->mChannels[0]->mPostState = aiAnimBehaviour_REPEAT;
  ImportedModel const model = convert();
  ImportedCurve const& z = model.curves[2];
  for (std::size_t i = 0; i < z.keys.size(); ++i)
    EXPECT_NEAR(z.keys[i].value, 60.0 * static_cast<double>(i), 1e-3);
  EXPECT_EQ(z.before, Extrapolation::Linear);
  EXPECT_EQ(z.after, Extrapolation::Repeat);
}

TEST_F(SceneConversionTest, RestPoseComesFromTheMatrixUnlessItIsBroken) {
  float const c = std::cos(0.5F);
  float const s = std::sin(0.5F);
  // A turn around x with a scale before it: the columns are scaled.
  scene.mRootNode->mTransformation =
      aiMatrix4x4(2, 0, 0, 7, 0, 3 * c, -4 * s, 8, 0, 3 * s, 4 * c, 9, 0, 0, 0, 1);
  ImportedNode const node = describeScene(scene).nodes[0];
  EXPECT_NEAR(node.translation[2], 9, 1e-5);
  EXPECT_NEAR(node.rotation[0], 28.6479, 1e-3);
  EXPECT_NEAR(node.scale[1], 3, 1e-5);
  scene.mRootNode->mTransformation.a1 = NAN;
  EXPECT_EQ(describeScene(scene).nodes[0].scale, (std::array<double, 3>{1, 1, 1}));
}

}  // namespace knanim::SceneConversionTest
