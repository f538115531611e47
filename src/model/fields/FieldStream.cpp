#include "model/fields/FieldStream.h"

#include <bit>

namespace osg {
inline namespace knscene {

static_assert(std::endian::native == std::endian::little,
              "scene files are written in the machine's byte order");

void FieldWriter::putText(std::string_view text) {
  put(static_cast<UInt32>(text.size()));
  putBytes(text.data(), text.size());
}

void FieldReader::getBytes(void* target, std::size_t size) {
  if (size == 0) return;  // nothing for an empty list, which has no memory to name
  if (_failed || size > _bytes.size() - _position) {
    _failed = true;
    std::memset(target, 0, size);
    return;
  }
  std::memcpy(target, _bytes.data() + _position, size);
  _position += size;
}

std::string FieldReader::getText() {
  std::size_t const size = getCount(1);
  std::string text(_bytes.substr(_position, size));
  _position += size;
  return text;
}

std::size_t FieldReader::getCount(std::size_t elementSize) {
  std::size_t const count = get<UInt32>();
  std::size_t const room = _bytes.size() - _position;
  if (_failed || (elementSize > 0 && count > room / elementSize)) {
    _failed = true;
    return 0;
  }
  return count;
}

}  // namespace knscene
}  // namespace osg
