// The reader of binary scene files. Checksums and sizes are put right, or hardly any input would come further than those;
// every other one is read as it is.
#include "FuzzInput.h"

#include <cstring>
#include <zlib.h>

namespace {

constexpr std::size_t HeaderSize = 40;
constexpr std::size_t FlagsOffset = 12;
constexpr std::size_t SizeOffset = 16;
constexpr std::size_t StoredSizeOffset = 24;
constexpr std::size_t ChecksumOffset = 32;
constexpr std::size_t HeaderChecksumOffset = 36;

template <class T>
void put(std::string& file, std::size_t place, T value) {
  std::memcpy(file.data() + place, &value, sizeof(T));
}

std::uint32_t checksum(std::string const& file, std::size_t begin, std::size_t end) {
  return static_cast<std::uint32_t>(
      ::crc32_z(0, reinterpret_cast<Bytef const*>(file.data()) + begin, end - begin));
}

/// Makes a plain file out of anything that is longer than a header.
std::string madeRight(std::string file) {
  put<std::uint64_t>(file, 0, 0x1A0A0D6E63536E6BULL);
  put<std::uint32_t>(file, 8, 1);
  put<std::uint32_t>(file, FlagsOffset, 0);
  put<std::uint64_t>(file, SizeOffset, file.size() - HeaderSize);
  put<std::uint64_t>(file, StoredSizeOffset, file.size() - HeaderSize);
  put(file, ChecksumOffset, checksum(file, HeaderSize, file.size()));
  put(file, HeaderChecksumOffset, checksum(file, 0, HeaderChecksumOffset));
  return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  knfuzz::silence();
  std::string const bytes(reinterpret_cast<char const*>(data), size);
  bool const isPacked = size > FlagsOffset && data[FlagsOffset] != 0;
  bool const asItIs = size <= HeaderSize || isPacked || data[size - 1] % 2 == 1;
  knfuzz::readSceneFile(asItIs ? bytes : madeRight(bytes));
  return 0;
}
