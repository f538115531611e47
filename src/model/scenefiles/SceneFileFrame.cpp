#include "model/scenefiles/SceneFileFrame.h"

#include "model/scenefiles/SceneFileProgress.h"

#include <algorithm>
#include <vector>
#include <zlib.h>

namespace osg {
inline namespace knscene {

namespace {

constexpr std::string_view Magic("knScn\r\n\x1A", 8);
constexpr std::size_t HeaderSize = 40;
constexpr UInt32 CompressedFlag = 1;
constexpr std::size_t ChunkSize = 64 * 1024;

struct Header {
  UInt32 version = SceneFileVersion;
  UInt32 flags = 0;
  UInt64 size = 0;
  UInt64 storedSize = 0;
  UInt32 checksum = 0;

  bool isCompressed() const { return (flags & CompressedFlag) != 0; }
};

UInt32 checksumOf(std::string_view bytes) {
  return static_cast<UInt32>(::crc32_z(0, reinterpret_cast<Bytef const*>(bytes.data()), bytes.size()));
}

/// A number of bytes that a stored size can stand for; more is taken for an attempt to exhaust the memory.
UInt64 inProportion(UInt64 storedSize, UInt64 ratio) {
  constexpr UInt64 Allowance = UInt64{16} << 20;
  constexpr UInt64 Largest = UInt64{1} << 48;
  return Allowance + ratio * std::min(storedSize, Largest);
}

constexpr UInt64 MostUnpacked = 256;
/// Objects of one kind that differ little take little room in a packed file, the least about 1.5 bytes each.
UInt64 believableObjects(UInt64 storedSize, bool isPacked) {
  return inProportion(storedSize, isPacked ? 1024 : 256);
}

/// A zlib stream that is ended with its object.
class ZStream {
 public:
  using End = int (*)(z_stream*);
  explicit ZStream(End end) : _end(end) {}
  ~ZStream() { _end(&state); }
  ZStream(ZStream const&) = delete;
  ZStream& operator=(ZStream const&) = delete;

  z_stream state{};

 private:
  End _end;
};

Bytef* bytesOf(char* text) { return reinterpret_cast<Bytef*>(text); }
Bytef* bytesOf(char const* text) { return bytesOf(const_cast<char*>(text)); }  // zlib reads through it only

/// Empty when zlib has no memory.
std::string deflated(std::string_view contents) {
  ZStream packer(&::deflateEnd);
  if (::deflateInit(&packer.state, Z_DEFAULT_COMPRESSION) != Z_OK) return {};
  std::string result;
  std::vector<char> chunk(ChunkSize);
  int state = Z_OK;
  for (std::size_t taken = 0; state != Z_STREAM_END;) {
    if (!SceneFileProgress::tell("packing", taken, contents.size())) return {};
    std::size_t const step = std::min(contents.size() - taken, ChunkSize);
    packer.state.next_in = bytesOf(contents.data() + taken);
    packer.state.avail_in = static_cast<uInt>(step);
    taken += step;
    do {
      packer.state.next_out = bytesOf(chunk.data());
      packer.state.avail_out = static_cast<uInt>(ChunkSize);
      state = ::deflate(&packer.state, taken == contents.size() ? Z_FINISH : Z_NO_FLUSH);
      result.append(chunk.data(), ChunkSize - packer.state.avail_out);
    } while (packer.state.avail_out == 0);
  }
  return result;
}

std::string headerBytes(Header const& header) {
  FieldWriter out(nullptr);
  out.putBytes(Magic.data(), Magic.size());
  out.put(header.version);
  out.put(header.flags);
  out.put(header.size);
  out.put(header.storedSize);
  out.put(header.checksum);
  out.put(checksumOf(out.bytes()));
  return out.takeBytes();
}

class FrameReader {
 public:
  FrameReader(std::istream& stream, SceneFileProblem& problem) : _stream(stream), _problem(problem) {}

  bool read(SceneContents& result) {
    Header header;
    if (!readHeader(header)) return false;
    std::string& contents = result.bytes;
    if (!(header.isCompressed() ? readPacked(header, contents) : readPlain(header, contents))) return false;
    result.objectMemory = believableObjects(header.storedSize, header.isCompressed());
    return checksumOf(contents) == header.checksum ||
           fail("the checksum of its contents is wrong", HeaderSize);
  }

 private:
  bool fail(std::string what, UInt64 offset) {
    _problem = {std::move(what), offset, false};
    return false;
  }

  bool readBytes(char* target, std::size_t size) {
    _stream.read(target, static_cast<std::streamsize>(size));
    auto const got = static_cast<std::size_t>(_stream.gcount());
    _offset += got;
    if (got == size && _stream) return true;
    return fail(_stream.bad() ? "the rest of it cannot be read" : "it ends early", _offset);
  }

  bool goesOn(UInt64 done, UInt64 total) {
    return SceneFileProgress::tell("reading", done, total) ||
           fail(SceneFileProgress::WhenInterrupted, _offset);
  }

  bool readHeader(Header& header) {
    char bytes[HeaderSize];
    if (!readBytes(bytes, Magic.size())) return false;
    if (std::string_view(bytes, Magic.size()) != Magic) return fail("it is no scene file", 0);
    if (!readBytes(bytes + Magic.size(), HeaderSize - Magic.size())) return false;
    FieldReader in({bytes, HeaderSize}, nullptr);
    in.getBytes(bytes, Magic.size());
    header.version = in.get<UInt32>();
    header.flags = in.get<UInt32>();
    header.size = in.get<UInt64>();
    header.storedSize = in.get<UInt64>();
    header.checksum = in.get<UInt32>();
    std::size_t const checkedSize = in.position();
    return checkHeader(header, checksumOf({bytes, checkedSize}) == in.get<UInt32>());
  }

  bool checkHeader(Header const& header, bool isIntact) {
    constexpr UInt64 VersionOffset = 8;
    constexpr UInt64 FlagsOffset = 12;
    constexpr UInt64 SizeOffset = 16;
    // The version comes first: the header of a later format may be checked by other rules.
    if (header.version == 0 || header.version > SceneFileVersion) {
      return fail("its format is version " + std::to_string(header.version) + ", known are those up to " +
                      std::to_string(SceneFileVersion),
                  VersionOffset);
    }
    if (!isIntact) return fail("its header is damaged", 0);
    if ((header.flags & ~CompressedFlag) != 0) return fail("its flags are unknown", FlagsOffset);
    bool const believable = header.isCompressed()
                                ? header.size <= inProportion(header.storedSize, MostUnpacked)
                                : header.size == header.storedSize;
    return believable || fail("the size of its contents is impossible", SizeOffset);
  }

  bool readPlain(Header const& header, std::string& contents) {
    if (header.size <= bytesLeft(_stream)) contents.reserve(header.size);
    while (contents.size() < header.size) {
      if (!goesOn(contents.size(), header.size)) return false;
      std::size_t const had = contents.size();
      growToward(contents, header.size);
      if (!readBytes(contents.data() + had, contents.size() - had)) return false;
    }
    return true;
  }

  bool readPacked(Header const& header, std::string& contents) {
    ZStream unpacker(&::inflateEnd);
    if (::inflateInit(&unpacker.state) != Z_OK)
      return fail("there is not enough memory to unpack it", _offset);
    std::vector<char> chunk(ChunkSize);
    UInt64 left = header.storedSize;
    UInt64 unpacked = 0;
    int state = Z_OK;
    while (left > 0 && state != Z_STREAM_END) {
      if (!goesOn(header.storedSize - left, header.storedSize)) return false;
      auto const step = static_cast<std::size_t>(std::min<UInt64>(left, ChunkSize));
      if (!readBytes(chunk.data(), step)) return false;
      left -= step;
      unpacker.state.next_in = bytesOf(chunk.data());
      unpacker.state.avail_in = static_cast<uInt>(step);
      state = unpack(unpacker.state, header.size, contents, unpacked);
      if (state != Z_OK && state != Z_STREAM_END) break;
    }
    bool const allUsed = left == 0 && unpacker.state.avail_in == 0;
    if (state != Z_STREAM_END || !allUsed || unpacked != header.size) {
      return fail("its packed contents are damaged", _offset - unpacker.state.avail_in);
    }
    contents.resize(unpacked);
    return true;
  }

  /// Unpacks what the stream was given. There is room for one byte too many, by which a lie is found out.
  static int unpack(z_stream& stream, UInt64 size, std::string& contents, UInt64& unpacked) {
    int state = Z_OK;
    do {
      if (unpacked == contents.size()) growToward(contents, size + 1);
      std::size_t const room = std::min<std::size_t>(contents.size() - unpacked, UInt64{1} << 30);
      if (room == 0) return Z_DATA_ERROR;
      stream.next_out = bytesOf(contents.data() + unpacked);
      stream.avail_out = static_cast<uInt>(room);
      state = ::inflate(&stream, Z_NO_FLUSH);
      unpacked += room - stream.avail_out;
    } while (state == Z_OK && (stream.avail_in > 0 || stream.avail_out == 0));
    return state == Z_BUF_ERROR && stream.avail_in == 0 ? Z_OK : state;
  }

  static void growToward(std::string& contents, UInt64 size) {
    // Within room that is there already, pieces stay small enough for the cache.
    constexpr UInt64 Piece = UInt64{256} * 1024;
    bool const hasRoom = contents.capacity() >= size;
    UInt64 const next =
        hasRoom ? contents.size() + Piece : std::max<UInt64>(ChunkSize, UInt64{2} * contents.size());
    contents.resize(static_cast<std::size_t>(std::min(size, next)));
  }

  std::istream& _stream;
  SceneFileProblem& _problem;
  UInt64 _offset = 0;  ///< in the file
};

}  // namespace

UInt64 bytesLeft(std::istream& stream) {
  if (!stream) return 0;
  std::istream::pos_type const here = stream.tellg();
  if (here == std::istream::pos_type(-1) || !stream.seekg(0, std::ios::end)) {
    stream.clear(stream.rdstate() & ~std::ios::failbit);
    return 0;
  }
  std::istream::pos_type const end = stream.tellg();
  stream.seekg(here);
  return end > here ? static_cast<UInt64>(end - here) : 0;
}

bool writeSceneFrame(std::ostream& stream, SceneContents const& sceneContents, bool compress) {
  std::string_view const contents = sceneContents.bytes;
  std::string const packed = compress ? deflated(contents) : std::string();
  if (SceneFileProgress::isInterrupted()) return false;
  bool const usePacked = !packed.empty() && contents.size() <= inProportion(packed.size(), MostUnpacked) &&
                         sceneContents.objectMemory <= believableObjects(packed.size(), true);
  std::string_view const stored = usePacked ? std::string_view(packed) : contents;
  Header const header{SceneFileVersion, usePacked ? CompressedFlag : 0, contents.size(), stored.size(),
                      checksumOf(contents)};
  std::string const frame = headerBytes(header);
  stream.write(frame.data(), static_cast<std::streamsize>(frame.size()));
  stream.write(stored.data(), static_cast<std::streamsize>(stored.size()));
  stream.flush();
  return stream.good();
}

bool readSceneFrame(std::istream& stream, SceneContents& contents, SceneFileProblem& problem) {
  return FrameReader(stream, problem).read(contents);
}

}  // namespace knscene
}  // namespace osg
