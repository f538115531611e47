#pragma once

#include "model/scenefiles/ContentLayout.h"
#include "model/scenefiles/SceneFileContents.h"

namespace osg {
inline namespace knscene {

// The text form of a scene file says what its contents say, as JSON:
//
//   {
//    "knScene": 1,
//    "types": {"Group": {"attachments": {"content": "AttachmentSlot", "list": true}}, ...},
//    "root": {"$type": "Node", "core": {"$type": "Group"}, "children": [...]},
//    "further": [...]
//   }
//
// An object stands where it is first held, so that the text has the shape of the tree. Where else it is named,
// {"$ref": "..."} gives the "$id" that it has then. What would be nested too deep for other readers of JSON stands in
// "further". A field that an object does not give is null, empty, or what the table of types says.

/// The format of texts that this release writes, and the latest that it reads.
inline constexpr UInt32 SceneTextVersion = 1;

/// Whether a stream's first byte begins a text and not a binary file.
inline bool beginsSceneText(int firstByte) {
  return firstByte == '{' || firstByte == ' ' || firstByte == '\t' || firstByte == '\n' ||
         firstByte == '\r' || firstByte == 0xEF;
}

/// The contents as a text. They are what `putSceneContents` made. Empty, with the reason in `problem`, when they hold
/// what a text cannot: handles in contents of a type that is the host's own.
std::string putSceneText(SceneContents const& contents, SceneFileProblem& problem);

/// Where in a text the objects of its contents begin.
class SceneTextPlaces {
 public:
  /// Objects are added in ascending order of both.
  void add(std::size_t contentsOffset, std::size_t textOffset) {
    _places.push_back({contentsOffset, textOffset});
  }
  /// The beginning of the object that a byte of the contents belongs to.
  std::size_t find(std::size_t contentsOffset) const;

 private:
  struct Place {
    std::size_t inContents;
    std::size_t inText;
  };
  std::vector<Place> _places;
};

/// The contents that a text describes, which still may be anything: see `getSceneContents`. False when it is no such text,
/// with the reason and the place in `problem`. Any text is safe to read, of any depth; memory is proportional to its
/// length.
bool getSceneText(std::string const& text, SceneContents& contents, SceneTextPlaces& places,
                  SceneFileProblem& problem);

/// What contents a text of some length can stand for; more is taken for an attempt to exhaust the memory.
UInt64 mostContents(std::size_t textSize);

/// The line that a byte of a text stands in, from 1.
std::size_t lineOf(std::string_view text, std::size_t offset);

}  // namespace knscene
}  // namespace osg
