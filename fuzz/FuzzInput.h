#pragma once

#include "model/fields/FieldContainerFactory.h"
#include "model/fields/Ref.h"
#include "model/scenefiles/SceneFileHandler.h"
#include "model/scenegraph/Traverse.h"
#include "model/utils/knLog.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>

namespace knfuzz {

/// Ends the process with a message, which the driver reports together with the input.
inline void require(bool isSo, char const* what) {
  if (isSo) return;
  std::fprintf(stderr, "broken promise: %s\n", what);
  std::abort();
}

/// Sends what the readers say nowhere.
inline void silence() {
  static bool const isOpen = [] {
    knLog::setSink([](knLog::Level, std::string_view) {});
    return std::freopen("/dev/null", "w", stdout) != nullptr;
  }();
  require(isOpen, "standard output can be sent nowhere");
}

inline osg::Ref<osg::Node> loaded(std::string const& bytes) {
  std::istringstream stream(bytes);
  return osg::SceneFileHandler::the().read(stream, nullptr);
}

inline std::string saved(osg::NodePtr const& root, char const* name) {
  std::ostringstream out;
  require(osg::SceneFileHandler::the().write(root, out, name, 0), "what was read can be saved");
  return out.str();
}

/// Reads bytes as a scene file. What comes of them is a tree that holds together, and that is the same when it is saved and
/// read again in either form; or nothing. Nothing is left over.
inline void readSceneFile(std::string const& bytes) {
  auto const& factory = osg::FieldContainerFactory::the();
  std::size_t const living = factory.getLivingCount();
  if (osg::Ref<osg::Node> const root = loaded(bytes)) {
    osg::traverse(root, [](osg::NodePtr const& node) {
      for (osg::NodePtr const& child : node->getChildren()) require(child->getParent() == node, "a child has its parent");
      for (auto const& slot : node->getAttachments()) require(slot.attachment.isAlive(), "attachments live");
      return osg::Action::Continue;
    });
    std::string const text = saved(root, "again.json");
    for (std::string const& file : {text, saved(root, "again.osb")}) {
      osg::Ref<osg::Node> const again = loaded(file);
      require(again && saved(again, "again.json") == text, "what was saved is read as it was");
    }
  }
  require(factory.getLivingCount() == living, "nothing is left over");
}

}  // namespace knfuzz
