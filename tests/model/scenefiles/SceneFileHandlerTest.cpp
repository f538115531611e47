#include "model/scenefiles/SceneFileHandler.h"

#include "SceneFileCrafting.h"
#include "model/scenefiles/SceneFileProgress.h"
#include "model/utils/knCachedStream.h"
#include "support/TemporaryFolder.h"

#include <csignal>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <unordered_map>

namespace kntest {

class Keeper;

/// An attachment that holds containers of any type, and knows a node without holding it. It makes a container
/// of its own when it is made.
class KeeperBase : public osg::Attachment {
  KN_CONTAINER(KeeperBase, Keeper, osg::Attachment)
 public:
  KN_MFIELD_READ(osg::FieldContainerPtr, Kept, kept, Owned)
  KN_SFIELD(osg::NodePtr, Known, known)
  KN_SFIELD_OWNED(osg::NodePtr, Part, part)
  KN_CONTAINER_END
};

class Keeper : public KeeperBase {
 public:
  Keeper() {
    setPart(osg::Node::create());
    getPart()->setTravMask(17);
  }
  void keep(osg::FieldContainerPtr const& container) {
    container.addRef();
    _fKept.push_back(container);
  }
};

KN_CONTAINER_TYPE(KeeperBase, Keeper, "TestKeeper")

namespace SceneFileHandlerTest {

using SceneFileHandlerTest = SceneTest;

SceneFileHandler& handler() { return SceneFileHandler::the(); }

Keeper::Ptr keeperOf(NodePtr const& node) {
  return dcast<Keeper::Ptr>(node->findAttachment(KeeperBase::_type.getGroupId()));
}

NodePtr makeKeepingRoot() {
  NodePtr const root = Node::create();
  root->addAttachment(KeeperBase::create());
  return root;
}

/// All that a root holds, in order of discovery, and the places in this order.
struct Inventory {
  explicit Inventory(FieldContainerPtr const& root) {
    add(root);
    for (std::size_t i = 0; i < containers.size(); ++i) {
      FieldContainerPtr const container = containers[i];
      for (FieldDescription const& field : container->getType().getFieldDescriptions()) {
        if (field.getRole() != FieldRole::Owned) continue;
        field.getField(*container)->visitHandles([this](FieldContainerPtr const& handle) {
          if (handle) add(handle);
          return handle;
        });
      }
    }
  }
  void add(FieldContainerPtr const& container) {
    if (numbers.try_emplace(container, static_cast<UInt32>(containers.size() + 1)).second)
      containers.push_back(container);
  }
  /// A field's value, with handles as places in this inventory.
  std::string valueOf(FieldContainerPtr const& container, FieldDescription const& field) const {
    FieldWriter out([this](FieldContainerPtr const& handle) {
      auto const found = numbers.find(handle);
      return found != numbers.end() ? found->second : 0U;
    });
    field.getField(*container)->write(out);
    return out.takeBytes();
  }

  std::vector<FieldContainerPtr> containers;
  std::unordered_map<FieldContainerPtr, UInt32> numbers;
};

void expectSameGraph(NodePtr const& expected, NodePtr const& actual) {
  ASSERT_TRUE(actual);
  EXPECT_EQ(actual->getRefCount(), 0);
  Inventory const a(expected);
  Inventory const b(actual);
  ASSERT_EQ(a.containers.size(), b.containers.size());
  for (std::size_t i = 0; i < a.containers.size(); ++i) {
    FieldContainerType const& type = a.containers[i]->getType();
    ASSERT_EQ(type.getCName(), b.containers[i]->getType().getCName());
    EXPECT_TRUE(i == 0 || a.containers[i]->getRefCount() == b.containers[i]->getRefCount())
        << type.getCName();
    for (FieldDescription const& field : type.getFieldDescriptions()) {
      if (field.getRole() == FieldRole::Derived) continue;
      EXPECT_TRUE(a.valueOf(a.containers[i], field) == b.valueOf(b.containers[i], field))
          << type.getCName() << '.' << field.getCName();
    }
  }
}

void expectSameAfterLoading(NodePtr const& root) {
  for (std::string const& file : {saved(root, 0), saved(root, 1), savedText(root)}) {
    NodePtr const copy = loaded(file);
    expectSameGraph(root, copy);
    copy.subRef();
  }
}

FieldContainerPtr makeFitting(FieldDescription const& field) {
  FieldContainerType const* const held = heldType(field.getFieldType().getContentType());
  for (FieldContainerType const* const type : FieldContainerFactory::the().getTypes())
    if (held != nullptr && type->isDerivedFrom(*held) && !type->isAbstract())
      return type->createFieldContainer();
  return {};
}

/// Gives a field of any content some value: three of a list, new containers for those that it holds, `known`
/// for those that it only knows.
void fill(FieldContainer& container, FieldDescription const& field, NodePtr const& known,
          std::mt19937& random) {
  IDString const content = field.getFieldType().getContentType().getName();
  bool const isMulti = field.getFieldType().getCardinality() == FieldType::Cardinality::Multi;
  std::string bytes = isMulti ? number(3) : std::string();
  for (int i = 0; i < 3; ++i) {
    if (content == "string") bytes += text("text " + std::to_string(i));
    if (content == "AttachmentSlot") bytes += std::string{static_cast<char>(i), '\0'} + number(1);
    for (int b = 0; b < 64 && content != "string" && content != "AttachmentSlot"; ++b) {
      auto byte = static_cast<UInt8>(random());
      if (b % 4 == 3 && (byte & 0x7F) == 0x7F) --byte;  // what a NaN holds is not kept in texts
      bytes += static_cast<char>(byte);
    }
  }
  FieldReader reader(bytes, [&](UInt32) {
    return field.getRole() == FieldRole::Owned ? makeFitting(field) : FieldContainerPtr(known);
  });
  field.getField(container)->read(reader);
  EXPECT_FALSE(reader.failed()) << "this test must learn how to fill a field of content " << content.c_str();
}

TEST_F(SceneFileHandlerTest, EveryTypeKeepsEveryField) {
  std::mt19937 random(3);
  Held const root(makeKeepingRoot());
  for (FieldContainerType const* const type : FieldContainerFactory::the().getTypes()) {
    if (type->isAbstract()) continue;
    FieldContainerPtr const container = type->createFieldContainer();
    for (FieldDescription const& field : type->getFieldDescriptions()) {
      if (field.getRole() == FieldRole::Owned) letGo(*field.getField(*container));
      if (field.getRole() != FieldRole::Derived) fill(*container, field, *root, random);
    }
    linkAssignedFields(*container);
    keeperOf(*root)->keep(container);
  }
  expectSameAfterLoading(*root);
}

// A stored file is never written again; what later formats add goes into files of their own.
class StoredFileTest : public SceneTest, public testing::WithParamInterface<char const*> {};
INSTANTIATE_TEST_SUITE_P(OfAllVersions, StoredFileTest, testing::Values("scene-v1.bin", "scene-v1.json"));

TEST_P(StoredFileTest, CanBeRead) {
  Held const root(loadSceneFile(KN_TEST_DATA_DIR "/" + std::string(GetParam())));
  EXPECT_STREQ(NodeUtils::getName(*root), "Wurzel \xC3\xA4");
  ASSERT_EQ(root->getNChildren(), 2U);
  NodePtr const first = root->getChild(0), second = root->getChild(1);
  EXPECT_TRUE(first->getTravMask() == 0xFFFFFFFFU && second->getTravMask() == 0);
  EXPECT_TRUE(first->getCore() == second->getCore() && dcast<GroupPtr>(first->getChild(0)->getCore()));
  EXPECT_EQ(dcast<Transform3DPtr>(first->getCore())->getTranslation(), Vec3f(1, -2, 3));
  AttachmentPtr const rootName = root->findAttachment(Name::_type.getGroupId());
  for (NodePtr const& child : {first, second})
    EXPECT_EQ(child->findAttachment(Name::_type.getGroupId(), 7), rootName);
  AttachmentPtr const mark = second->findAttachment(Mark::_type.getGroupId(), 65535);
  EXPECT_EQ(dcast<BrightMark::Ptr>(mark)->getColor(), Color3f(0.25F, 0.5F, 1));
  EXPECT_EQ(keeperOf(*root)->getKnown(), first->getChild(0));
  ASSERT_EQ(keeperOf(*root)->getKept().size(), 3U);
  EXPECT_EQ(keeperOf(*root)->getKept()[1], nullptr);
  Multis::Ptr const all = dcast<Multis::Ptr>(keeperOf(*root)->getKept()[0]);
  EXPECT_TRUE(all->getLink() == second && all->getOwned() == first);
  EXPECT_EQ(all->getLinks().getValues(), (std::vector<NodePtr>{*root, NodePtr(), first}));
  EXPECT_EQ(all->getText(), std::string("a\0b\n", 4));
  EXPECT_EQ(all->getTexts().getValues(), (std::vector<std::string>{"", "x", "three"}));
  EXPECT_EQ(all->getMatrices().getValues(), (std::vector{Matrix(), Matrix::scale({1, 2, 3})}));
  std::string texts;
  for (char const* const name :
       {"bool", "int32", "uint32", "int64", "uint64", "uint8", "real32", "real64", "color4f", "vec3f",
        "vec4f", "pnt4f", "int32s", "uint8s", "real64s", "pnt3fs"}) {
    all->getField(name)->putToString(texts);
    texts += ';';
  }
  EXPECT_EQ(texts,
            "false;-123456789;4000000000;-9223372036854775808;18446744073709551615;200;-0;1e-300;0.1 0.2 0.3 "
            "0.4;1 2 nan;"
            "1 2 3 inf;-1 -2 -3 -4;1\n-1;0\n127\n255;0.1;1 2 3\n4 5 6;");
}

TEST_F(SceneFileHandlerTest, HandlesFollowWhatIsInTheFile) {
  Held const outside(Node::create());
  NodePtr const root = makeKeepingRoot();
  outside->addChild(root);
  NodePtr const child = Node::create();
  root->addChild(child);
  for (NodePtr const& known : {child, root, *outside}) {
    keeperOf(root)->setKnown(known);
    Held const copy(loaded(saved(root, 0)));
    EXPECT_EQ(copy->getParent(), nullptr);
    NodePtr const expected = known == child ? copy->getChild(0) : known == root ? *copy : NodePtr();
    EXPECT_EQ(keeperOf(copy)->getKnown(), expected);
  }
}

TEST_F(SceneFileHandlerTest, WhatIsUnknownIsPassedOver) {
  // 1 is the root, 2 its child of a type that is gone, 3 its ordinary child, 4 is held by 2 alone, 5 knows 4.
  std::string const contents = craft(
      {{"Node",
        {{"travMask", "Real64"},
         {"children", "NodePtr", true},
         {"wobble", "Wobble", true},
         {"attachments", "AttachmentSlot", true},
         {"parent", "NodePtr"}}},
       {"GoneNode", {{"children", "NodePtr", true}}},
       {"TestKeeper", {{"known", "NodePtr"}, {"kept", "FieldContainerPtr"}}},
       {"Attachment", {}}},
      {{0,
        {"12345678", handles({2, 3}), "any bytes", number(1) + std::string(2, '\0') + number(5), number(3)}},
       {1, {handles({4})}},
       {0, {"", handles({}), "", handles({}), ""}},
       {0, {"", handles({}), "", handles({}), ""}},
       {2, {number(4), "?"}}});
  LogCapture log;
  Held const root(loaded(framed(contents)));
  EXPECT_EQ(
      log.warnings(),
      (std::vector<std::string>{
          "scene file test holds objects of unknown types, which were passed over: GoneNode, Attachment",
          "scene file test holds fields whose content is of another type now, which were passed over: "
          "Node.travMask, TestKeeper.kept"}));
  EXPECT_TRUE(log.errors().empty());
  EXPECT_EQ(root->getTravMask(), 0xFFFFFFFFU);
  ASSERT_EQ(root->getNChildren(), 1U);
  EXPECT_EQ(root->getChild(0)->getParent(), *root);
  EXPECT_EQ(keeperOf(root)->getKnown(), nullptr);
  EXPECT_EQ(keeperOf(root)->getPart()->getTravMask(), 17U) << "a field that the file does not have";
}

TEST_F(SceneFileHandlerTest, TreesOfAnyDepth) {
  Held const root(Node::create());
  growChain(*root, 100'000, Node::create)->setTravMask(5);
  for (std::string const& file : {saved(*root, 1), savedText(*root)}) {
    Held const copy(loaded(file));
    NodePtr bottom = copy;
    while (bottom->getNChildren() > 0) bottom = bottom->getChild(0);
    EXPECT_EQ(bottom->getTravMask(), 5U);
  }
}

TEST_F(SceneFileHandlerTest, StreamsAreLeftBehindTheSceneAndAsTheyWereWithoutOne) {
  Held const root(makeKeepingRoot());
  std::stringstream stream;
  for (unsigned int const compress : {1U, 0U}) handler().write(*root, stream, nullptr, compress);
  std::string const written = stream.str();
  LogCapture log;
  EXPECT_FALSE(handler().write({}, stream, nullptr, 0));
  Singles::Ptr const circle = SinglesBase::create();
  keeperOf(*root)->keep(circle);
  circle->setOwned(*root);
  EXPECT_FALSE(handler().write(*root, stream, nullptr, 0));
  circle->setOwned({});
  EXPECT_EQ(stream.str(), written);
  for (int times = 0; times < 2; ++times) EXPECT_TRUE(*Held(handler().read(stream, nullptr)));
  EXPECT_EQ(static_cast<std::size_t>(stream.tellg()), written.size());
  EXPECT_EQ(log.errors(), (std::vector<std::string>{
                              "scene file cannot be written: there is no scene",
                              "scene file cannot be written: containers hold each other in a circle"}));
}

TEST_F(SceneFileHandlerTest, OperationsRunOnWhatWasRead) {
  Held const root(Node::create());
  std::string const file = saved(*root, 0);
  auto const puts = [](NodePtr const& read) {
    NodePtr const above = Node::create();
    above->addChild(read);
    return above;
  };
  auto const drops = [](NodePtr const& read) {
    read.subRef();
    return NodePtr();
  };
  GraphOpSeq operations = {nullptr, puts, puts};
  SceneFileHandler::_defaultgraphOpSeq = &operations;
  NodePtr const result = loaded(file);
  EXPECT_EQ(result->getChild(0)->getNChildren(), 1U);
  result.subRef();
  operations.insert(operations.begin(), drops);
  EXPECT_EQ(loaded(file), nullptr);
  SceneFileHandler::_defaultgraphOpSeq = nullptr;
}

class SceneFileSavingTest : public SceneTest {
 protected:
  static bool save(UInt32 mask, std::string const& fileName) {
    Held const root(Node::create());
    root->setTravMask(mask);
    return saveSceneFile(*root, fileName, mask % 2 == 0);
  }
  UInt32 storedMask() const {
    Held const copy(loadSceneFile(name));
    return *copy ? copy->getTravMask() : 0;
  }
  TemporaryFolder const folder;
  std::string const name = folder.file("scene");
};

TEST_F(SceneFileSavingTest, LinksAreFollowedAndFailuresSayWhy) {
  std::filesystem::create_symlink("scene", name + ".dangling");
  EXPECT_TRUE(save(3, name + ".dangling") && std::filesystem::is_symlink(name + ".dangling"));
  EXPECT_EQ(storedMask(), 3U);
  std::filesystem::create_symlink("circle", folder.file("circle"));
  std::pair<std::string, char const*> const cases[] = {
      {folder.file("circle"), ": Too many levels of symbolic links"},
      {name + "/below", ": Not a directory"},
      {folder.file(""), ": Is a directory"},
      {"/dev/full", ": No space left on device"},
      {"", ": No such file or directory"}};
  for (auto const& [path, why] : cases) {
    LogCapture log;
    EXPECT_TRUE(!save(4, path) && log.lines().size() == 1) << path;
    EXPECT_TRUE(log.errors().at(0).ends_with(why)) << log.errors()[0];
    EXPECT_TRUE(loadSceneFile(path) == nullptr && log.lines().size() == 2) << path;
  }
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/full") && save(1, "/dev/null"));
  EXPECT_EQ(folder.count(), 3U);
}

TEST_F(SceneFileSavingTest, AFileIsReplacedAsAWhole) {
  using std::filesystem::perms;
  EXPECT_TRUE(save(1, name));
  std::filesystem::permissions(name, perms::owner_read | perms::owner_write);
  EXPECT_TRUE(save(2, name));
  EXPECT_EQ(std::filesystem::status(name).permissions(), perms::owner_read | perms::owner_write);

  LogCapture log;
  Held const circle(makeKeepingRoot());
  Singles::Ptr const link = SinglesBase::create();
  keeperOf(circle)->keep(link);
  link->setOwned(circle);
  EXPECT_FALSE(saveSceneFile(*circle, name, false) || saveSceneFile({}, name, false));
  EXPECT_EQ(storedMask(), 2U) << "a failure leaves the former file";
  EXPECT_EQ(folder.count(), 1U);
  EXPECT_EQ(log.lines().size(), 2U);
  link->setOwned({});
}

TEST_F(SceneFileSavingTest, AFullDiskLeavesTheFormerFile) {
  ASSERT_TRUE(save(1, name));
  rlimit former{};
  ::getrlimit(RLIMIT_FSIZE, &former);
  auto* const formerHandler = std::signal(SIGXFSZ, SIG_IGN);
  LogCapture log;
  for (rlim_t size = 0; size < std::filesystem::file_size(name); size += 5) {
    rlimit const full{size, former.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &full);
    bool const isSaved = save(3, name);
    ::setrlimit(RLIMIT_FSIZE, &former);
    ASSERT_TRUE(!isSaved && storedMask() == 1 && folder.count() == 1) << size;
  }
  std::signal(SIGXFSZ, formerHandler);
  EXPECT_TRUE(log.contains("File too large"));
}

TEST_F(SceneFileSavingTest, WhoeverWatchesEndsItAtAnyStep) {
  for (bool const isSaving : {true, false}) {
    ASSERT_TRUE(save(1, name));
    std::size_t most = 1;
    for (std::size_t end = 0; end < most; ++end) {
      std::size_t told = 0;
      LogCapture log;
      SceneFileProgress const progress([&](char const*, UInt64 done, UInt64 total) {
        EXPECT_LE(done, total);
        most = std::max(most, ++told + 1);
        return told <= end;
      });
      bool const isDone = isSaving ? save(2, name) : static_cast<bool>(*Held(loadSceneFile(name)));
      ASSERT_EQ(isDone, end + 1 == most) << end;
      EXPECT_EQ(log.contains("it was interrupted"), !isDone);
      EXPECT_EQ(folder.count(), 1U);
    }
    EXPECT_GT(most, 2U);
  }
  EXPECT_EQ(storedMask(), 1U);

  auto outer = std::make_unique<SceneFileProgress>([](auto...) { return false; });
  auto inner = std::make_unique<SceneFileProgress>([](auto...) { return false; });
  outer.reset();
  inner.reset();
  EXPECT_TRUE(save(1, name)) << "who watches may end in any order";
}

TEST_F(SceneFileSavingTest, AProcessThatIsKilledLeavesOneWholeFile) {
  ASSERT_TRUE(save(1, name));
  std::mt19937 random(23);
  std::set<UInt32> masks;
  for (int times = 0; times < 200; ++times) {
    pid_t const child = ::fork();
    for (UInt32 mask = 2; child == 0; ++mask) save(mask, name);
    ::poll(nullptr, 0, static_cast<int>(random() % 4));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    masks.insert(storedMask());
    ASSERT_FALSE(masks.contains(0)) << times;
  }
  EXPECT_GT(masks.size(), 1U);
  ASSERT_TRUE(save(1, name));
}

}  // namespace SceneFileHandlerTest
}  // namespace kntest
