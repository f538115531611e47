#include "model/scenefiles/ContentLayout.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace osg {
inline namespace knscene {

namespace {

using Pieces = std::vector<ContentPiece>;
using Table = std::map<std::string, Pieces, std::less<>>;

Table makeTable() {
  using P = ContentPiece;
  Table table = {
      {"bool", {P::Flag}},
      {"UInt8", {P::Unsigned8}},
      {"Int32", {P::Signed32}},
      {"UInt32", {P::Unsigned32}},
      {"Int64", {P::Signed64}},
      {"UInt64", {P::Unsigned64}},
      {"Real32", {P::Float32}},
      {"Real64", {P::Float64}},
      {"string", {P::Text}},
      {"Quaternion", Pieces(4, P::Float32)},
      {"Matrix", Pieces(16, P::Float32)},
      {"AttachmentSlot", {P::Unsigned16, P::Handle}},
  };
  for (char const* const kind : {"Vec", "Pnt", "Color"}) {
    for (std::size_t n = 2; n <= 4; ++n) table[kind + std::to_string(n) + 'f'] = Pieces(n, P::Float32);
  }
  Pieces& key = table["CCPnt"];
  key.assign(6, P::Float32);
  key.insert(key.end(), {P::Unsigned8, P::Unsigned8, P::Flag, P::Flag});
  return table;
}

}  // namespace

ContentLayout layoutOf(std::string_view contentName) {
  static auto const& table = *new Table(makeTable());
  static auto const& handle = *new Pieces{ContentPiece::Handle};
  auto const found = table.find(contentName);
  if (found != table.end()) return found->second;
  return contentName.ends_with("Ptr") ? ContentLayout(handle) : ContentLayout();
}

std::size_t pieceSize(ContentPiece piece) {
  switch (piece) {
    case ContentPiece::Flag:
    case ContentPiece::Unsigned8:
      return 1;
    case ContentPiece::Unsigned16:
      return 2;
    case ContentPiece::Signed64:
    case ContentPiece::Unsigned64:
    case ContentPiece::Float64:
      return 8;
    default:
      return 4;
  }
}

std::size_t fixedSize(ContentLayout layout) {
  std::size_t size = 0;
  for (ContentPiece const piece : layout) {
    if (piece == ContentPiece::Text) return 0;
    size += pieceSize(piece);
  }
  return size;
}

bool canHaveDefault(ContentLayout layout) {
  return !layout.empty() && std::none_of(layout.begin(), layout.end(), [](ContentPiece piece) {
    return piece == ContentPiece::Text || piece == ContentPiece::Handle;
  });
}

}  // namespace knscene
}  // namespace osg
