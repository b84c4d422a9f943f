#include "modules/streams/k2r/StoredFragment.h"

#include <utility>
#include <vector>

#include "modules/streams/k2r/storedFiles.h"
#include "util/box.h"
#include "util/bytes.h"
#include "util/fourcc.h"
#include "util/tagHeader.h"

namespace qvs::k2r {
namespace {

using namespace util;

/// Of a box that is taken into memory, as the container library has it.
constexpr std::uint64_t kMaxLoadedBox = std::uint64_t{256} << 20;

/// As every segment file is opened. The file is there, so that none is made.
constexpr std::uint32_t kFlags = kIMOBinary | kIMOCreate | kIMOReadWrite;
constexpr std::uint32_t kFileMode = 0x180;

/// A box of the file: where it begins and how far it reaches.
struct FileBox {
  std::uint64_t begin = 0;
  std::uint64_t headerSize = 0;
  std::uint64_t size = 0;

  std::uint64_t end() const { return begin + size; }
};

/// The file, while it is read. What goes beyond its end throws MalformedInput; where the host cannot open or read it,
/// UnreadableFile is thrown.
class SegmentFile {
 public:
  SegmentFile(IMOFileContext& files, std::string path)
      : files_(files), path_(std::move(path)), handle_(files.open(path_.c_str(), kFlags, kFileMode, 0)) {
    IMOFileStatus status;
    if (handle_ == -1) throw UnreadableFile(path_, "the host does not open it");
    if (files_.fileStatus(handle_, &status, 0) == 0) {
      size_ = static_cast<std::uint64_t>(status.size);
      return;
    }
    files_.close(handle_, 0);
    throw UnreadableFile(path_, "the host does not tell its size");
  }
  ~SegmentFile() {
    try {
      files_.close(handle_, 0);
    } catch (...) {  // A host's close that throws must not end the process.
    }
  }
  SegmentFile(const SegmentFile&) = delete;
  SegmentFile& operator=(const SegmentFile&) = delete;

  std::vector<std::byte> read(std::uint64_t offset, std::uint64_t count) {
    if (offset > size_ || count > size_ - offset) throw MalformedInput("a segment ends too early");
    std::vector<std::byte> bytes(static_cast<std::size_t>(count));
    for (std::size_t done = 0; done < bytes.size();) {
      const auto left = static_cast<std::uint32_t>(bytes.size() - done);  // No box that is loaded needs more.
      const std::int32_t step = files_.read(handle_, offset + done, bytes.data() + done, left);
      if (step < 1) throw UnreadableFile(path_, "the host does not read it");
      done += static_cast<std::size_t>(step);
    }
    return bytes;
  }

  FileBox box(std::uint64_t offset, FourCC type) {
    constexpr std::uint32_t kLongSize = 1;
    const auto header = read(offset, 8);
    ByteReader in(header);
    FileBox box{.begin = offset, .headerSize = 8, .size = in.u32()};
    if (in.u32() != type) throw MalformedInput("a fragment has another box");
    if (box.size == kLongSize) {
      const auto longSize = read(offset + box.headerSize, 8);
      box.headerSize += longSize.size();
      box.size = ByteReader(longSize).u64();
    }
    if (box.size < box.headerSize || box.size > size_ - offset) throw MalformedInput("a box ends too early");
    return box;
  }

  std::vector<std::byte> load(const FileBox& box) {
    if (box.size > kMaxLoadedBox) throw MalformedInput("a box is too large");
    return read(box.begin, box.size);
  }

 private:
  IMOFileContext& files_;
  std::string path_;
  std::int32_t handle_;
  std::uint64_t size_ = 0;
};

/// The decode time of the fragment's first tag: the hint track is the last one, and all tags are its samples.
std::optional<std::uint64_t> firstDecodeTime(std::span<const std::byte> moof) {
  std::optional<std::uint64_t> time;
  ByteReader in(moof);
  ByteReader payload = openBox(in, "moof"_4cc);
  while (payload.remaining() > 0) {
    BoxView traf = nextBox(payload);
    while (traf.type == "traf"_4cc && traf.payload.remaining() > 0) {
      BoxView box = nextBox(traf.payload);
      if (box.type != "tfdt"_4cc) continue;
      time = readVersionAndFlags(box.payload).version == 1 ? box.payload.u64() : box.payload.u32();
    }
  }
  return time;
}

StoredFragment readFragment(SegmentFile& file, std::uint64_t position) {
  const FileBox afra = file.box(position, "afra"_4cc);
  const FileBox abst = file.box(afra.end(), "abst"_4cc);
  const FileBox moof = file.box(abst.end(), "moof"_4cc);
  const FileBox mdat = file.box(moof.end(), "mdat"_4cc);
  StoredFragment fragment{.bootstrap = parseBootstrap(file.load(abst)), .baseTime = {}};
  const auto relative = firstDecodeTime(file.load(moof));
  if (relative && mdat.size - mdat.headerSize >= kTagOverhead) {
    const auto header = file.read(mdat.begin + mdat.headerSize, kTagHeaderSize);
    fragment.baseTime = tagTimestamp(header.data()) - static_cast<std::uint32_t>(*relative);
  }
  return fragment;
}

}  // namespace

std::optional<StoredFragment> readStoredFragment(IMOFileContext& files, const std::string& path,
                                                 std::uint64_t position) {
  if (!isThere(files, path)) return std::nullopt;
  SegmentFile file(files, path);
  try {
    return readFragment(file, position);
  } catch (const UnreadableFile&) {
    throw;
  } catch (const QVSException&) {
    return std::nullopt;
  }
}

}  // namespace qvs::k2r
