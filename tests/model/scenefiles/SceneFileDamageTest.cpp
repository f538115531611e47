#include "SceneFileCrafting.h"
#include "model/scenegraph/Traverse.h"

#include <zlib.h>

namespace kntest::SceneFileDamageTest {

using SceneFileDamageTest = SceneTest;

constexpr std::size_t HeaderSize = 40;

/// A node with two children, one core under two nodes, and one attachment on two, in some form.
std::string smallFile(std::function<std::string(NodePtr const&)> const& save) {
  Held const root(Node::create());
  Transform3DPtr const core = Transform3DBase::create();
  core->setTranslation({1, 2, 3});
  AttachmentPtr const mark = MarkBase::create();
  for (int i = 0; i < 2; ++i) {
    NodePtr const child = Node::create();
    root->addChild(child);
    child->setCore(core);
    child->addAttachment(mark);
  }
  NodeUtils::setName(*root, "root", false);
  return save(*root);
}
std::string smallFile(unsigned int compress) {
  return smallFile([compress](NodePtr const& root) { return saved(root, compress); });
}

void expectSound(NodePtr const& root) {
  EXPECT_EQ(root->getRefCount(), 0);
  EXPECT_EQ(root->getParent(), nullptr);
  traverse(root, [](NodePtr const& node) {
    for (NodePtr const& child : node->getChildren()) EXPECT_EQ(child->getParent(), node);
    for (AttachmentSlot const& slot : node->getAttachments()) EXPECT_TRUE(slot.attachment.isAlive());
    return Action::Continue;
  });
}

/// Reads what may be damaged. Either a sound tree comes of it, which is dropped again and true told, or
/// nothing is left and one line says why and where.
bool survives(std::string const& bytes) {
  std::size_t const livingBefore = FieldContainerFactory::the().getLivingCount();
  LogCapture log;
  NodePtr const root = loaded(bytes);
  EXPECT_EQ(log.errors().size(), root ? 0U : 1U);
  if (root) {
    expectSound(root);
    root.subRef();
  } else {
    EXPECT_TRUE(log.contains("scene file test cannot be read: ") && log.contains("byte "));
    EXPECT_EQ(log.lines().size(), 1U);
  }
  EXPECT_EQ(FieldContainerFactory::the().getLivingCount(), livingBefore);
  return root != nullptr;
}

std::string refusal(std::string const& bytes) {
  LogCapture log;
  NodePtr const root = loaded(bytes);
  EXPECT_EQ(root, nullptr);
  root.subRef();
  return log.errors().size() == 1 ? log.errors()[0] : "not one line";
}

TEST_F(SceneFileDamageTest, EveryShorterFileIsRefused) {
  for (unsigned int const compress : {0U, 1U}) {
    std::string const file = smallFile(compress);
    ASSERT_TRUE(survives(file));
    for (std::size_t size = 0; size < file.size(); ++size)
      ASSERT_FALSE(survives(file.substr(0, size))) << size;
  }
  std::string const contents = smallFile(0).substr(HeaderSize);
  for (std::size_t size = 0; size < contents.size(); ++size)
    ASSERT_FALSE(survives(framed(contents.substr(0, size)))) << "contents of " << size;
  EXPECT_FALSE(survives(framed(contents + '\0')));
}

TEST_F(SceneFileDamageTest, EveryFlippedBitIsNoticedOrWithoutEffect) {
  std::string const plain = smallFile(0);
  for (unsigned int const compress : {0U, 1U}) {
    std::string const file = smallFile(compress);
    for (std::size_t bit = 0; bit < file.size() * 8; ++bit) {
      std::string damaged = file;
      damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
      if (!survives(damaged)) continue;
      // A packed stream has bits that nothing depends on, and more than one way to say the same.
      ASSERT_EQ(compress, 1U) << bit;
      Held const root(loaded(damaged));
      EXPECT_TRUE(saved(*root, 0) == plain) << bit;
    }
  }
}

TEST_F(SceneFileDamageTest, DamagedTextsAreRefusedOrSound) {
  std::string const text = smallFile(&savedText);
  for (std::size_t size = 0; size + 1 < text.size(); ++size)
    ASSERT_FALSE(survives(text.substr(0, size))) << size;
  std::size_t accepted = 0;
  for (std::size_t bit = 0; bit < text.size() * 8; ++bit) {
    std::string damaged = text;
    damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
    accepted += survives(damaged) ? 1 : 0;
    if (HasFailure()) FAIL() << "bit " << bit;
  }
  EXPECT_GT(accepted, 100U) << "other numbers and names are as good";
}

TEST_F(SceneFileDamageTest, ContentsThatPassTheChecksumMayBeAnything) {
  std::string const contents = smallFile(0).substr(HeaderSize);
  std::mt19937 random(11);
  auto const upTo = [&random](std::size_t end) { return random() % end; };
  std::size_t accepted = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string damaged = contents;
    for (std::size_t times = 1 + upTo(3); times > 0; --times) {
      // Half of the damage is a number that could be a count or a handle.
      bool const isNumber = upTo(2) == 0;
      UInt32 const values[] = {static_cast<UInt32>(upTo(12)), static_cast<UInt32>(random()), 0xFFFFFFFFU};
      std::string const patch =
          isNumber ? number(values[upTo(3)]) : std::string(1, static_cast<char>(random()));
      damaged.replace(upTo(damaged.size() - patch.size() + 1), patch.size(), patch);
    }
    accepted += survives(framed(damaged, round % 8 == 0)) ? 1 : 0;
    if (HasFailure()) FAIL() << "round " << round;
  }
  EXPECT_GT(accepted, 1000U) << "the damage is meant to reach the linking of objects";
  EXPECT_LT(accepted, 19000U);
}

TEST_F(SceneFileDamageTest, ImpossibleStructuresAreNamed) {
  CraftedType const masked{"Node", {{"travMask", "UInt32"}}};
  std::string const wrongSize = "'travMask' of an object of type 'Node' is damaged (byte 51 of its contents)";
  std::pair<std::string, std::string> const cases[] = {
      {craftTree({{1}}), "circle"},
      {craftTree({{2}, {3}, {2}}), "circle"},
      {craftTree({{2, 3}, {4}, {4}, {}}), "child of two"},
      {craftTree({{2, 2}, {}}), "child of two"},
      {craftTree({{7}}), "'children' of an object of type 'Node' is damaged"},
      {craftTree({}), "no object"},
      {craft({masked}, {{0, {"12345"}}}), wrongSize},
      {craft({{"Bad\nname", {}}}, {{0, {}}}), "but 'Bad?name'"},
      {craft({{"Node", {}}}, {{1, {}}}), "not in the table"},
      {craftTree({{}}) + "more", "more follows"},
      {number(0xFFFFFFFFU), "(byte 4 of its contents)"},
  };
  for (auto const& [contents, complaint] : cases) {
    std::string const line = refusal(framed(contents));
    EXPECT_NE(line.find(complaint), std::string::npos) << line;
  }
}

TEST_F(SceneFileDamageTest, DeepTreesInACircleAreRefused) {
  std::vector<std::vector<UInt32>> children;
  for (UInt32 i = 2; i <= 100000; ++i) children.push_back({i});
  children.push_back({50000});
  EXPECT_NE(refusal(framed(craftTree(children))).find("circle"), std::string::npos);
}

/// Puts a number of `size` bytes into the header and makes its checksum agree.
std::string withHeader(std::string file, std::size_t offset, UInt64 value, std::size_t size) {
  std::memcpy(file.data() + offset, &value, size);
  auto const checksum = static_cast<UInt32>(
      ::crc32(0, reinterpret_cast<Bytef const*>(file.data()), HeaderSize - sizeof(UInt32)));
  return file.replace(HeaderSize - sizeof(UInt32), sizeof(UInt32), number(checksum));
}

TEST_F(SceneFileDamageTest, AHeaderThatLiesIsNotBelieved) {
  struct Case {
    unsigned int compress;
    std::size_t offset;
    UInt64 value;
    std::size_t size;
    char const* complaint;
  };
  UInt64 const size = smallFile(0).size() - HeaderSize;
  Case const cases[] = {{0, 0, 0, 4, "it is no scene file (byte 0)"},
                        {0, 8, 2, 4, "its format is version 2, known are those up to 1 (byte 8)"},
                        {0, 12, 2, 4, "flags are unknown (byte 12)"},
                        {0, 16, size - 1, 8, "size of its contents is impossible"},
                        {0, 24, UInt64{1} << 60, 8, "size of its contents is impossible"},
                        {1, 16, UInt64{1} << 40, 8, "size of its contents is impossible"},
                        {1, 16, size + 1, 8, "packed contents are damaged"},
                        {1, 16, 0, 8, "packed contents are damaged"},
                        {1, 24, ~UInt64{0}, 8, "ends early"},
                        {1, 24, 10, 8, "packed contents are damaged"},
                        {0, 32, 0, 4, "checksum of its contents"},
                        {1, 32, 0, 4, "checksum of its contents"}};
  for (Case const& c : cases) {
    std::string const file = withHeader(smallFile(c.compress), c.offset, c.value, c.size);
    EXPECT_NE(refusal(file).find(c.complaint), std::string::npos) << refusal(file) << ", not " << c.complaint;
    EXPECT_FALSE(survives(file));
  }
  std::string const endless =
      withHeader(withHeader(smallFile(0), 16, UInt64{1} << 60, 8), 24, UInt64{1} << 60, 8);
  EXPECT_NE(refusal(endless).find("ends early (byte " + std::to_string(endless.size())), std::string::npos);
}

void expectUnpacked(std::string const& contents, std::string const& file) {
  std::istringstream stream(file);
  SceneContents back;
  SceneFileProblem problem;
  EXPECT_TRUE(readSceneFrame(stream, back, problem)) << problem.what;
  EXPECT_TRUE(back.bytes == contents);
}

TEST_F(SceneFileDamageTest, WhatPacksTooWellToBeBelievedIsStoredPlain) {
  std::string const zeros(std::size_t{40} << 20, '\0');
  for (std::string const& contents : {zeros, zeros.substr(0, std::size_t{8} << 20)}) {
    std::string const file = framed(contents, true);
    EXPECT_EQ(file.size() > contents.size(), contents.size() == zeros.size());
    expectUnpacked(contents, file);
  }
  std::ostringstream stream;
  writeSceneFrame(stream, {zeros.substr(0, 1000), UInt64{1} << 30}, true);
  EXPECT_GT(stream.str().size(), 1000U) << "many objects in few bytes";
}

TEST_F(SceneFileDamageTest, ASmallFileDoesNotMakeManyObjects) {
  for (char const* const type : {"Node", "AnimAttachment", "GoneNode"}) {
    std::string contents = number(2) + text("Node") + number(0) + text(type) + number(0) + number(4000000);
    std::size_t const tables = contents.size();
    contents += number(0);
    while (contents.size() < tables + 16000000) contents += number(1);
    std::string const file = framed(contents, true);
    EXPECT_LT(file.size(), 40000U);
    std::size_t const made = FieldContainerFactory::the().getFieldContainerStore()->size();
    EXPECT_NE(refusal(file).find("more objects than it has room for"), std::string::npos) << type;
    EXPECT_EQ(FieldContainerFactory::the().getFieldContainerStore()->size(), made) << type;
  }
}

TEST_F(SceneFileDamageTest, ContentsOfAnySizeArePacked) {
  // Around the size of the pieces that files are unpacked in, and with content that does not get smaller.
  std::mt19937 random(5);
  std::string contents;
  while (contents.size() < 65560) contents += static_cast<char>(random());
  for (std::size_t size = 0; size <= contents.size(); size = size == 10 ? 65500 : size + 1)
    expectUnpacked(contents.substr(0, size), framed(contents.substr(0, size), true));
}

}  // namespace kntest::SceneFileDamageTest
