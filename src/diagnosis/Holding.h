#pragma once

#include "model/materials/Material.h"
#include "model/sceneext/AnimNode.h"

#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

/// Answers a question about nodes that the nearest of them and those above it decides. Each node is asked once: trees may be
/// of any depth.
class AnswersFromAbove {
 public:
  /// `ask` gives the answer of one node, or nothing, and then the next one above is asked; false where none has an answer.
  template <class Ask>
  bool find(osg::NodePtr node, Ask const& ask) {
    std::vector<osg::NodePtr> way;
    bool answer = false;
    for (; node.isAlive(); node = node->getParent()) {
      auto const known = _known.find(node);
      std::optional<bool> const own = known != _known.end() ? known->second : ask(node);
      answer = own.value_or(false);
      if (own) break;
      way.push_back(node);
    }
    for (osg::NodePtr const& passed : way) _known[passed] = answer;
    return answer;
  }

 private:
  std::unordered_map<osg::NodePtr, bool> _known;
};

/// Whether the scene holds what animations hang on. Answers are kept, so one object serves many questions while nothing is
/// edited. Main thread; the host is asked for its materials when the first material comes.
class SceneMembership {
 public:
  /// A node below a root of the scene, or one of the scene's materials. Not a core: its animations are read by nobody.
  /// Of other containers nothing is known, so they count as held.
  bool holds(osg::FieldContainerPtr const& holder);

 private:
  bool holdsMaterial(osg::MaterialPtr const& material);

  AnswersFromAbove _nodes;
  std::optional<std::unordered_set<osg::FieldContainerPtr>> _materials;
};

/// The containers that have a tree by an attachment, whether the scene holds them or not.
std::vector<osg::FieldContainerPtr> findHolders(osg::AnimNodePtr const& tree);
/// What has a tree and is not in the scene. Null where the scene has it, and where nothing has it.
osg::FieldContainerPtr findOutside(osg::AnimNodePtr const& tree, SceneMembership& scene);

/// That animations hang on something outside the scene, as "'Door' (Node), which no scene holds".
std::string describeOutside(osg::FieldContainerPtr const& holder);
/// Why nothing in the scene has a tree, as "it hangs on 'Door' (Node), which no scene holds".
std::string describeNotHeld(osg::AnimNodePtr const& tree, SceneMembership& scene);
