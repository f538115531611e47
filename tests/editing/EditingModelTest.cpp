// Random edits, beside a model that knows trees by name and cores by number: what stands where, what is shared with
// what, and how often.
#include "editing/EditingStage.h"

namespace kntest::EditingModelTest {

struct ModelTree {
  int id;
  std::string name;
  bool flipped;
  float row;
  std::vector<int> cores;  ///< of the block and its curves
  float start;
  float end;
};

struct ModelEntry {
  ModelTree copy;
  int source;
  int aim;  ///< a place, -1 for none
};

class EditingModelTest : public EditingStage {
 protected:
  enum Place { Mover, MoverToo, Shape, Bundle, Red, Blue, Clip, ClipToo, PlaceCount };

  EditingModelTest() {
    GeometryPtr const shape = Geometry::create();
    shape->setMaterial(PhongMaterial::create());
    nodes = {addNode(Transform3D::create()),
             addNode(Transform3D::create()),
             addNode(shape),
             addNode(Group::create()),
             {},
             {},
             addClip("clip"),
             addClip("clipToo")};
    materials = {addMaterial<PhongMaterial>("red"), addMaterial<PhongMaterial>("blue")};
    for (int i = 0; i < Clip; ++i) {
      AnimAttachmentPtr const attachment = AnimAttachment::create();
      attachment->setAnimationRoot(newGroup<Group>({}));
      containerOf(i)->addAttachment(attachment);
    }
  }
  AttachmentContainerPtr containerOf(int place) const {
    auto const i = static_cast<std::size_t>(place);
    return place == Red || place == Blue ? AttachmentContainerPtr(materials[i - Red])
                                         : AttachmentContainerPtr(nodes[i]);
  }
  NodePtr treesAt(int place) const {
    return place >= Clip ? nodes[static_cast<std::size_t>(place)] : animationsOf(containerOf(place));
  }
  AnimNodePtr treeAt(int place, std::size_t i) const {
    return dcast<AnimNodePtr>(treesAt(place)->getChild(static_cast<UInt32>(i)));
  }
  static int kindOf(int place) { return place == MoverToo ? Mover : place == Blue ? Red : place; }

  std::size_t pick(std::size_t below) { return random() % below; }
  std::vector<int> newCores() { return {nextCore++, nextCore++, nextCore++}; }

  void add(int place) {
    float const start = static_cast<float>(pick(10));
    float const end = start + static_cast<float>(pick(4));
    std::string const name = "t" + std::to_string(nextTree);
    model[place].push_back({nextTree++, name, false, 0, newCores(), start, end});
    AnimNodePtr const tree = newBlock(name, start, end);
    tree->setHidden(pick(3) == 0);
    place >= Clip ? treesAt(place)->addChild(tree) : manager.addAnimation(containerOf(place), tree);
  }
  void remember(int place, std::size_t first, std::size_t count) {
    buffer.clear();
    for (std::size_t i = first; i < first + count; ++i) {
      buffer.push_back({model[place][i], model[place][i].id, place >= Clip ? -1 : place});
      buffer.back().copy.cores = newCores();
    }
  }
  void copy(int place, std::size_t i, bool cut) {
    AnimNodePtr const tree = treeAt(place, i);
    cut ? manager.cut(tree) : manager.copy(tree, {});
    remember(place, i, 1);
    if (cut) model[place].erase(model[place].begin() + static_cast<std::ptrdiff_t>(i));
  }
  void copyAll(int place) {
    manager.copyFrom(containerOf(place));
    if (place < Clip && !model[place].empty()) remember(place, 0, model[place].size());
  }
  ModelTree const* find(int id) const {
    for (auto const& trees : model)
      for (ModelTree const& tree : trees)
        if (tree.id == id) return &tree;
    return nullptr;
  }
  static bool isNode(int place) { return place < Red; }
  void paste(int place, bool share, bool flip) {
    MaterialPtr const material = dcast<MaterialPtr>(containerOf(place));
    NodePtr const node = dcast<NodePtr>(containerOf(place));
    if (share)
      material ? manager.clonePasteTo(material, flip, true) : (void)manager.clonePasteTo(node, flip, true);
    else
      material ? manager.pasteTo(material, flip, true) : (void)manager.pasteTo(node, flip, true);
    for (ModelEntry const& entry : std::vector<ModelEntry>(buffer)) {
      ModelTree const* const source = share ? find(entry.source) : &entry.copy;
      if (source == nullptr) continue;
      if (place < Clip && (entry.aim < 0 || kindOf(entry.aim) != kindOf(place))) continue;
      ModelTree made = *source;
      made.id = nextTree++;
      made.flipped ^= flip;
      if (!share) made.cores = newCores();
      if (!share && place < Clip) made.name += "'";
      if (share && place >= Clip) made.row = freeRow(place, made);
      model[place].push_back(made);
    }
  }
  float freeRow(int place, ModelTree const& wanted) const {
    float row = 0;
    auto const isInTheWay = [&](ModelTree const& one) {
      return one.row == row && one.start <= wanted.end && wanted.start <= one.end;
    };
    while (std::ranges::any_of(model[place], isInTheWay)) row += 50;
    return row;
  }
  void move(int from, std::size_t i, int to) {
    bool const areNodes = isNode(from) && isNode(to);
    AnimNodePtr const block = treeAt(from, i);
    bool const moved = areNodes ? manager.moveBlockToNode(block, nodes[static_cast<std::size_t>(from)],
                                                          nodes[static_cast<std::size_t>(to)], false)
                                : manager.moveBlockToMaterial(block, dcast<MaterialPtr>(containerOf(from)),
                                                              dcast<MaterialPtr>(containerOf(to)), false);
    bool const areBundles = (from == Bundle) == (to == Bundle);
    ASSERT_EQ(moved, areNodes ? areBundles : !isNode(from) && !isNode(to) && from < Clip && to < Clip);
    if (!moved) return;
    ModelTree const tree = model[from][i];
    model[from].erase(model[from].begin() + static_cast<std::ptrdiff_t>(i));
    model[to].push_back(tree);
  }
  unsigned countOf(int core, bool withBuffer) const {
    std::ptrdiff_t count = 0;
    for (int place = 0; place < (withBuffer ? PlaceCount : Clip); ++place)
      for (ModelTree const& tree : model[place]) count += std::ranges::count(tree.cores, core);
    for (ModelEntry const& entry : buffer)
      count += withBuffer ? std::ranges::count(entry.copy.cores, core) : 0;
    return static_cast<unsigned>(count);
  }
  void unshare(int place, std::size_t i) {
    AnimNodePtr tree = treeAt(place, i);
    manager.unshareFrom(tree, nodes[Mover]);
    ModelTree& own = model[place][i];
    own.name += "'";
    for (int& core : own.cores) {
      if (countOf(core, true) > 1) core = nextCore++;
    }
  }
  void compare() {
    std::map<int, UInt32> coreIds;
    for (int place = 0; place < PlaceCount; ++place) {
      NodePtr const trees = treesAt(place);
      ASSERT_EQ(trees.isAlive() ? trees->getNChildren() : 0, model[place].size());
      for (std::size_t i = 0; i < model[place].size(); ++i) {
        ModelTree const& wanted = model[place][i];
        AnimNodePtr const tree = treeAt(place, i);
        ASSERT_EQ(nameOf(tree), wanted.name);
        ASSERT_EQ(tree->getFlipped(), wanted.flipped);
        ASSERT_EQ(tree->getOffset().y(), wanted.row);
        std::vector<NodeCorePtr> const cores{tree->getCore(), tree->getChild(0)->getCore(),
                                             tree->getChild(1)->getCore()};
        for (std::size_t k = 0; k < cores.size(); ++k) {
          UInt32 const id = cores[k].getContainerId();
          ASSERT_EQ(coreIds.try_emplace(wanted.cores[k], id).first->second, id);
          ASSERT_EQ(cores[k]->getParents().size(), countOf(wanted.cores[k], true));
        }
      }
    }
    std::set<UInt32> distinct;
    for (auto const& [core, id] : coreIds) distinct.insert(id);
    ASSERT_EQ(distinct.size(), coreIds.size());
  }

  std::mt19937 random{3};
  std::vector<NodePtr> nodes;
  std::vector<MaterialPtr> materials;
  std::vector<ModelTree> model[PlaceCount];
  std::vector<ModelEntry> buffer;
  int nextTree = 0;
  int nextCore = 0;
};

TEST_F(EditingModelTest, RandomEdits) {
  std::size_t const living = FieldContainerFactory::the().getLivingCount();
  for (int step = 0; step < 1500; ++step) {
    int const place = static_cast<int>(pick(PlaceCount));
    std::size_t const size = model[place].size();
    std::size_t const i = size > 0 ? pick(size) : 0;
    std::size_t const action = pick(10);
    bool const flip = pick(2) == 0;
    testing::internal::CaptureStdout();
    if (size > 12) manager.subAnimation(containerOf(place), treeAt(place, 0));
    if (size > 12 && place >= Clip) treesAt(place)->clearChildren();
    if (size > 12)
      model[place].erase(model[place].begin(), place >= Clip ? model[place].end() : model[place].begin() + 1);
    else if (action < 2)
      add(place);
    else if (action == 2 && size > 0)
      copy(place, i, false);
    else if (action == 3 && size > 0)
      copy(place, i, true);
    else if (action == 4)
      copyAll(place);
    else if (action < 7)
      paste(place, action == 5, flip);
    else if (action < 9 && size > 0 && place < Clip)
      move(place, i, static_cast<int>(pick(Clip)));
    else if (size > 0 && step % 5 == 0)
      unshare(place, i);
    testing::internal::GetCapturedStdout();
    ASSERT_NO_FATAL_FAILURE(compare()) << "step " << step << " action " << action << " at " << place;
    if (step % 10 != 0 || model[place].empty()) continue;
    int const core = model[place][0].cores[0];
    // Those of the scene's nodes and materials; the clips are no part of it.
    knAnimManager::_animRoots.clear();
    EXPECT_EQ(manager.blockSceneRefCount(treeAt(place, 0)), countOf(core, false));
    EXPECT_EQ(manager.blockNodeRefCount(treeAt(place, 0)) == 0, place >= Clip);
  }
  for (int place = 0; place < PlaceCount; ++place) {
    if (treesAt(place)) treesAt(place)->clearChildren();
  }
  manager.clearCopyBuffer();
  EXPECT_EQ(FieldContainerFactory::the().getLivingCount(), living) << "nothing is left behind";
}

}  // namespace kntest::EditingModelTest
