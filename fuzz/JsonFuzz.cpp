// The reader of scene files in text form.
#include "FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  knfuzz::silence();
  // A first byte that says so, or the input would be taken for a binary file.
  knfuzz::readSceneFile(' ' + std::string(reinterpret_cast<char const*>(data), size));
  return 0;
}
