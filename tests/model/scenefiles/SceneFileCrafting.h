#pragma once

#include "model/scenefiles/SceneFileFrame.h"
#include "model/scenefiles/SceneFileHandler.h"
#include "support/LogCapture.h"
#include "support/TestContainers.h"

namespace kntest {

// Scene files made by hand, so that they can say what the writer never would.

inline std::string number(osg::UInt32 value) {
  osg::FieldWriter out(nullptr);
  out.put(value);
  return out.takeBytes();
}
inline std::string text(std::string const& value) {
  return number(static_cast<osg::UInt32>(value.size())) + value;
}
/// A list of handles.
inline std::string handles(std::vector<osg::UInt32> const& numbers) {
  std::string result = number(static_cast<osg::UInt32>(numbers.size()));
  for (osg::UInt32 const value : numbers) result += number(value);
  return result;
}

struct CraftedField {
  std::string name;
  std::string content;
  bool isMulti = false;
};
struct CraftedType {
  std::string name;
  std::vector<CraftedField> fields;
};
struct CraftedContainer {
  osg::UInt32 type;
  std::vector<std::string> values;  ///< one for each field of the type
};

inline std::string craft(std::vector<CraftedType> const& types,
                         std::vector<CraftedContainer> const& containers) {
  std::string result = number(static_cast<osg::UInt32>(types.size()));
  for (CraftedType const& type : types) {
    result += text(type.name) + number(static_cast<osg::UInt32>(type.fields.size()));
    for (CraftedField const& field : type.fields) {
      result += text(field.name) + text(field.content) + (field.isMulti ? '\1' : '\0');
    }
  }
  result += number(static_cast<osg::UInt32>(containers.size()));
  for (CraftedContainer const& container : containers) result += number(container.type);
  for (CraftedContainer const& container : containers) {
    for (std::string const& value : container.values)
      result += number(static_cast<osg::UInt32>(value.size()));
    for (std::string const& value : container.values) result += value;
  }
  return result;
}

/// Contents of plain nodes, of which each names its children.
inline std::string craftTree(std::vector<std::vector<osg::UInt32>> const& children) {
  std::vector<CraftedContainer> nodes;
  for (auto const& list : children) nodes.push_back({0, {handles(list)}});
  return craft({{"Node", {{"children", "NodePtr", true}}}}, nodes);
}

inline std::string framed(std::string const& contents, bool compress = false) {
  std::ostringstream stream;
  osg::writeSceneFrame(stream, {contents}, compress);
  return stream.str();
}

inline std::string saved(osg::NodePtr const& root, unsigned int compress) {
  std::ostringstream stream;
  EXPECT_TRUE(osg::SceneFileHandler::the().write(root, stream, "test", compress));
  return stream.str();
}

inline std::string savedText(osg::NodePtr const& root) {
  std::ostringstream stream;
  EXPECT_TRUE(osg::SceneFileHandler::the().write(root, stream, "test.json", 0));
  return stream.str();
}

inline osg::NodePtr loaded(std::string const& bytes) {
  std::istringstream stream(bytes);
  return osg::SceneFileHandler::the().read(stream, "test");
}

}  // namespace kntest
