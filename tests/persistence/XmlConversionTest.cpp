#include "model/sceneext/AnimSequence.h"
#include "support/LogCapture.h"
#include "support/SceneStage.h"

namespace kntest::XmlConversionTest {

class XmlConversionTest : public SceneStage {
 protected:
  XmlConversionTest() {
    manager.setFPS(25);
    knAnimManager::setDestroyNodeCB([](NodePtr const& node) { node.subRef(); });
  }
  ~XmlConversionTest() override {
    manager.clearCopyBuffer();
    manager.clearClipStructure();
    knAnimManager::setDestroyNodeCB({});
  }

  /// A transform that old records, and old curves, point at.
  static NodePtr oldObject(std::vector<UInt64> const& ids, std::vector<UInt64> const& fields) {
    NodePtr const node = addNode(Transform3D::create());
    AnimAttachmentPtr const attachment = AnimAttachment::create();
    node->addAttachment(attachment);
    for (UInt64 const id : ids) attachment->getOldRecordIds().push_back(id);
    for (UInt64 const field : fields) attachment->getOldFieldNumbers().push_back(field);
    return node;
  }
  void convert(std::string const& content, std::string const& head = {}) {
    manager.convertXMLAnimations(root(), head + "<animations>" + content + "</animations>");
  }
  NodePtr clipAt(UInt32 place) { return manager.clipStructureRoot()->getChild(place); }
};

char const* const kPoints =
    R"(<point id="1" tangentType="8"><position>0 1</position><outTangent>5 2</outTangent></point>
       <point id="2"><inTangent>20 3</inTangent><position> 25	4 </position></point>)";

TEST_F(XmlConversionTest, CurvesAndBlocksStandOnTheirNodes) {
  NodePtr const object = oldObject({30, 10, 99}, {});
  NodePtr const unrelated = oldObject({}, {7});
  convert(
      std::string(kPoints) +
      R"(<curve id="10" name="rotationY" active="1" repeating="1" motionBlur="0"><p id="1"/><p id="2"/><p id="3"/></curve>
             <curve id="10" name="translationX"/>
             <curve id="11" name="translationZ" motionBlur="1"><p id="1"/></curve>
             <block id="30" name="Swing" motionBlur="1"><c id="11"/></block>
             <block name="no id"/>)");
  auto const trees = treesOf(object);
  ASSERT_EQ(trees.size(), 2U);
  EXPECT_EQ(knAnimManager::getAnimAttachment(unrelated), nullptr);
  EXPECT_EQ(announced(unrelated), AttachmentContainer::AttachmentsFieldMask);

  AnimNodePtr const block = trees[0];
  EXPECT_STREQ(NodeUtils::getName(block), "Swing");
  EXPECT_FALSE(block->isActive());
  EXPECT_TRUE(block->getMotionBlur());
  std::vector<knOSGChannelData> channels;
  manager.getKeyableChannels(object, channels);
  EXPECT_EQ(block->getNChildren(), channels.size());
  EXPECT_EQ(curveIn(block, "translation", 2)->getControlPoints().size(), 1U);
  EXPECT_TRUE(curveIn(block, "translation", 0)->isEmpty());

  AnimNodePtr const rotation = trees[1];
  AnimCurvePtr const curve = curveOf(rotation);
  EXPECT_EQ(curve->getName(), "eulerRotation");
  EXPECT_EQ(curve->getValueIndex(), 1U);
  EXPECT_EQ(rotation->getPostCycles(), -1);
  // "repeating" counts where "motionBlur" is given.
  EXPECT_TRUE(rotation->getMotionBlur());
  ASSERT_EQ(curve->getControlPoints().size(), 2U);
  CCPnt const first = curve->getControlPoints()[0];
  EXPECT_EQ(first.outtangent(), Vec2f(0.2F, 1));
  CCPnt const second = curve->getControlPoints()[1];
  EXPECT_EQ(second.point(), Pnt2f(1, 4));
  // Its handle came before the position.
  EXPECT_EQ(second.intangent(), Vec2f(0.8F, 3));
}

TEST_F(XmlConversionTest, ClipsHoldBlocksAndSequencesInRows) {
  NodePtr const object = oldObject({}, {7}), below = oldObject({}, {7});
  object->addChild(below);
  convert(std::string(kPoints) +
          R"(<clip id="50" name="early"/>
             <curve id="10" name="translationX" field="7" active="1"><p id="1"/><p id="2"/></curve>
             <block id="30" name="Walk" active="1"><c id="10"/></block>
             <field id="40" typeID="6" name="Cue" begin="50" active="1"/><field id="41" name="none"/>
             <track id="60" number="3"><x id="30"/><x id="40"/><x id="41"/><x id="61"/><x id="30"/></track>
             <clip id="61" name="inner" active="1"/>
             <clip id="62" name="outer" active="1"><t id="60"/></clip><!-- the end -->)");
  ASSERT_EQ(manager.clipStructureRoot()->getNChildren(), 2U);
  EXPECT_STREQ(NodeUtils::getName(clipAt(0)), "inner");
  NodePtr const outer = clipAt(1);
  ASSERT_EQ(outer->getNChildren(), 4U);
  auto const block = dcast<AnimNodePtr>(outer->getChild(0));
  auto const cue = dcast<AnimNodePtr>(outer->getChild(1));
  EXPECT_TRUE(block->isActive());
  EXPECT_EQ(block->getOffset(), Vec2f(0, 150));
  EXPECT_EQ(cue->getOffset(), Vec2f(2, 150));
  EXPECT_NE(dcast<AnimSequencePtr>(cue->getCore()), nullptr);
  // The scene node has the same curves, switched off; one below it that says the same has none.
  EXPECT_TRUE(treesOf(below).empty());
  auto const trees = treesOf(object);
  ASSERT_EQ(trees.size(), 2U) << "of each time that the block is named";
  EXPECT_FALSE(trees[0]->isActive());
  EXPECT_EQ(trees[0]->getCore(), block->getCore());
}

TEST_F(XmlConversionTest, OneObjectStandsInAClipAsOftenAsItIsNamed) {
  std::string text = "<field id='1' typeID='6'/><track id='2'>";
  for (int i = 0; i < 1000; ++i) text += "<x id='1'/>";
  // Instructions to other programs, and comments about them, are passed over.
  convert(text + "</track><?a > ?><clip id='3'><t id='2'/></clip>", "<?xml version='1.0'?><?b?><!-- <? -->");
  EXPECT_EQ(clipAt(0)->getNChildren(), 1000U);
}

TEST_F(XmlConversionTest, TextsThatAreNotWellFormedChangeNothing) {
  NodePtr const object = oldObject({10}, {});
  auto const repeated = [](std::string const& piece) {
    std::string text;
    for (int i = 0; i < 50000; ++i) text += piece;
    return text;
  };
  std::string const deep = repeated("<a>");
  std::string attributes = "<a ";
  for (int i = 0; i < 20000; ++i) attributes += "a" + std::to_string(i) + "='1' ";
  for (std::string const& text :
       {std::string("<a><b></a>"), std::string("no text"), deep, "<a b='>" + deep, "<!-- > -->" + deep,
        attributes + "/>", repeated("<a><!--></a>-->"), repeated("<a>&#x</a>x41;"), repeated("<a>&#</a>#65;"),
        "<?xml version=\"><q x='\"?>" + deep, "<a c=\"\xEF\" d=\"\">" + deep, std::string("<a>\0</a>", 8)}) {
    testing::internal::CaptureStdout();
    manager.convertXMLAnimations(root(), text);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "ERROR converting animations from previous KELD version!\n");
    EXPECT_NE(knAnimManager::getAnimAttachment(object), nullptr);
  }
}

TEST_F(XmlConversionTest, CirclesAndDiamondsOfIdsEnd) {
  oldObject({2}, {});
  std::string text = R"(<block id="1" name="b"><x id="2"/></block><block id="2" name="c"><x id="1"/></block>
                        <track id="3"><x id="1"/><x id="5"/></track>)";
  // Each clip holds the next one twice, and the last the first.
  for (int i = 0; i < 60; ++i) {
    std::string const track = std::to_string(100 + i);
    std::string const next = std::to_string(200 + (i + 1) % 60);
    text += "<track id='" + track + "'><x id='" + next + "'/><x id='" + next + "'/></track>";
  }
  text += "<clip id='5'><t id='3'/></clip>";
  for (int i = 0; i < 60; ++i) {
    text += "<clip id='" + std::to_string(200 + i) + "'><t id='" + std::to_string(100 + i) + "'/></clip>";
  }
  LogCapture const log;
  convert(text);
  EXPECT_EQ(manager.clipStructureRoot()->getNChildren(), 61U);
  EXPECT_EQ(log.warnings().size(), 1U);
}

TEST_F(XmlConversionTest, DamagedTextsEndWell) {
  std::string const whole =
      std::string("<?xml version='1.0'?><animations>") + kPoints +
      R"(<curve id="10" name="translationX" field="7" active="1"><p id="1"/><p id="2"/></curve>
         <block id="30" name="Walk" active="1"><c id="10"/></block><field id="40" typeID="6" name="Cue" begin="50"/>
         <track id="60" number="3"><x id="30"/><x id="40"/></track><clip id="61"><t id="60"/></clip></animations>)";
  testing::internal::CaptureStdout();
  std::size_t const living = FieldContainerFactory::the().getLivingCount();
  // Every bit the other way round, and then every length.
  for (std::size_t i = 0; i < 9 * whole.size(); ++i) {
    std::string text = whole;
    std::size_t const place = i % whole.size();
    std::size_t const bit = i / whole.size();
    if (bit < 8) {
      text[place] = static_cast<char>(text[place] ^ (1 << bit));
    } else {
      text.resize(place);
    }
    NodePtr const object = oldObject({10, 30}, {7});
    manager.convertXMLAnimations(root(), text);
    root()->subChild(object);
    manager.clearClipStructure();
    manager.clearCopyBuffer();
    ASSERT_EQ(FieldContainerFactory::the().getLivingCount(), living) << text;
  }
  std::string const output = testing::internal::GetCapturedStdout();
  auto const refused = static_cast<std::size_t>(std::ranges::count(output, '\n'));
  EXPECT_TRUE(refused > whole.size() && refused < 8 * whole.size()) << refused;
}

}  // namespace kntest::XmlConversionTest
