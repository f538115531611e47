#include "model/scenefiles/SceneText.h"

#include "SceneFileCrafting.h"

namespace kntest::SceneTextTest {

using SceneTextTest = SceneTest;

/// What the log says of a text that is refused.
std::string refusal(std::string const& text) {
  LogCapture log;
  NodePtr const root = loaded(text);
  EXPECT_EQ(root, nullptr) << text;
  root.subRef();
  return log.errors().size() == 1 ? log.errors()[0] : "not one line";
}

/// A text with a table of types and a root.
std::string textOf(std::string const& root, std::string const& further = {}) {
  return R"({"knScene": 1, "types": {"Node": {"children": {"content": "NodePtr", "list": true},
 "travMask": {"content": "UInt32", "default": 7}, "core": {"content": "NodeCorePtr"},
 "attachments": {"content": "AttachmentSlot", "list": true}},
 "Name": {"name": {"content": "string"}}, "Group": {}},
 "root": )" +
         root + further + "}";
}

TEST_F(SceneTextTest, ATextHasTheShapeOfTheTree) {
  Held const root(Node::create());
  NodeUtils::setName(*root, "door \"a\"\n", false);
  GroupPtr const shared = GroupBase::create();
  for (UInt32 i = 0; i < 2; ++i) {
    root->addChild(Node::create());
    root->getChild(i)->setCore(shared);
    root->getChild(i)->setTravMask(i);
  }
  std::string const text = savedText(*root);
  EXPECT_NE(text.find(R"("travMask": {"content": "UInt32", "default": 4294967295}})"), std::string::npos);
  EXPECT_EQ(text.substr(text.find(" \"root\"")), R"( "root": {
  "$type": "Node",
  "attachments": [
   [0, {"$type": "Name", "name": "door \"a\"\n"}]],
  "children": [
   {"$type": "Node", "core": {"$type": "Group", "$id": "Group"}, "travMask": 0},
   {"$type": "Node", "core": {"$ref": "Group"}, "travMask": 1}]}
}
)");
}

TEST_F(SceneTextTest, WhatJsonCannotSayIsKept) {
  Held const all(MultisBase::create());
  Singles::Ptr const one = *all;
  float const infinity = std::numeric_limits<float>::infinity();
  one->setVec4f({-0.F, infinity, -infinity, std::nanf("")});
  one->setInt64(std::numeric_limits<Int64>::min());
  one->setUInt64(std::numeric_limits<UInt64>::max());
  one->setText(std::string("a\0\x1F\\\xE4", 5));
  all->getReal32s().getValues() = {1e-45F, 0.1F, 16777217.F, 3.4028235e38F};
  all->getTexts().getValues() = {"\xED\xA0\x80", "\xF0\x9F\x98\x80", ""};
  all->getUInt8s().getValues().assign(40, 255);
  // The containers of the tests are no nodes: their contents are put together by hand.
  for (FieldDescription const& field : all->getType().getFieldDescriptions()) {
    DataType const& content = field.getFieldType().getContentType();
    if (field.getRole() != FieldRole::Plain || heldType(content)) continue;
    FieldWriter out([](FieldContainerPtr const&) { return 0U; });
    field.getField(**all)->write(out);
    bool const isMulti = field.getFieldType().getCardinality() == FieldType::Cardinality::Multi;
    std::string const contents =
        craft({{"Other", {{field.getCName(), content.getCName(), isMulti}}}}, {{0, {out.bytes()}}});
    SceneFileProblem problem;
    SceneContents back;
    SceneTextPlaces places;
    ASSERT_TRUE(getSceneText(putSceneText({contents}, problem), back, places, problem)) << problem.what;
    EXPECT_TRUE(back.bytes == contents) << field.getCName();
  }
}

TEST_F(SceneTextTest, RefusalsSayWhatAndWhere) {
  std::string const deep(100000, '[');
  std::string nested;
  for (int i = 0; i < 2000; ++i) nested += R"({"$type": "Node", "children": [)";
  std::pair<std::string, char const*> const cases[] = {
      {"{", "Missing a name for object member. (line 1, byte 1)"},
      {R"({"knScene": 2})", "its format is version 2, known are those up to 1 (line 1"},
      {"{\"knScene\": 1,\n\n \"root\": {}}", "in this order, each once (line 3, byte 23)"},
      {R"({"knScene": 1, "types": {"A": {}, "A": {}}})", "a type is described twice"},
      {R"({"knScene": 1, "types": {"A": {"b": {}}}})", "no \"content\""},
      {textOf("{}"), "begins with \"$type\""},
      {textOf(R"({"$type": "Door"})"), "'Door' is not in the table"},
      {textOf(R"({"$ref": "a"})"), "no reference is expected here"},
      {textOf(R"({"$type": "Node", "width": 1})"), "type 'Node' has no field 'width'"},
      {textOf(R"({"$type": "Node", "travMask": 1, "travMask": 2})"), "'travMask' is given twice"},
      {textOf(R"({"$type": "Node", "travMask": 4294967296})"), "no such value (UInt32)"},
      {textOf(R"({"$type": "Node", "children": {"$type": "Node"}})"), "no object is expected here"},
      {textOf(R"({"$type": "Node", "attachments": [[0]]})"), "no such value (AttachmentSlot)"},
      {textOf("{\"$type\": \"Node\",\n \"core\": {\"$ref\": \"a\"}}"), "has the \"$id\" 'a' (line 6, byte "},
      {textOf(R"({"$type": "Node", "$id": "a", "children": [{"$ref": "a"}]})"), "circle (line 5, byte "},
      {textOf(R"({"$type": "Node", "core": {"$hex": "0g"}})"), "no bytes in hexadecimal"},
      {textOf(R"({"$type": "Node", "core": {"$hex": "0000"}})"),
       "'core' of an object of type 'Node' is damaged"},
      {textOf(R"({"$type": "Node"})") + "{", "followed by other values. (line 5, byte "},
      {textOf(R"({"$type": "Node"})") + std::string(1, '\0'), "a zero byte"},
      {textOf(R"({"$type": "Name", "name": ")" + std::string("\xC3\x28") + "\"}"), "Invalid encoding"},
      {textOf(R"({"$type": "Name", "name": "a"})"), "its root is no node of a known type"},
      {textOf(deep), "something else is expected here"},
      {textOf(nested), "nested too deep"},
  };
  for (auto const& [text, complaint] : cases) {
    EXPECT_NE(refusal(text).find(complaint), std::string::npos) << refusal(text) << ", not " << complaint;
  }
}

TEST_F(SceneTextTest, FewWordsDoNotStandForManyBytes) {
  std::string text = R"({"knScene": 1, "types": {"Node": {)";
  for (int i = 0; i < 10000; ++i) {
    text += "\"f" + std::to_string(i) +
            R"(": {"content": "Matrix", "default": [0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0]},)";
  }
  text += R"("children": {"content": "NodePtr", "list": true}}}, "root": {"$type": "Node", "children": [)";
  for (int i = 0; i < 10000; ++i) text += R"({"$type": "Node"},)";
  EXPECT_NE(refusal(text + "null]}}").find("more than it has room for"), std::string::npos);
}

TEST_F(SceneTextTest, TextsByOtherHandsAreRead) {
  // With references before what they name, and with what stands by itself.
  Held const root(
      loaded("\xEF\xBB\xBF" + textOf(R"({"$type": "Node", "travMask": 3, "core": {"$ref": "c"},
   "children": [{"$type": "Node", "core": {"$ref": "c"}}, {"$ref": "last"}, null]})",
                                     R"(, "further": [{"$type": "Node", "$id": "last", "attachments": [],
   "core": {"$type": "Group", "$id": "c"}}])")));
  ASSERT_TRUE(*root);
  EXPECT_EQ(root->getNChildren(), 2U);
  EXPECT_EQ(root->getChild(0)->getTravMask(), 7U) << "what the text says of new objects";
  EXPECT_TRUE(root->getCore() && root->getCore() == root->getChild(1)->getCore());
}

}  // namespace kntest::SceneTextTest
