#include "modules/streams/k2r/StoredFragment.h"

#include <utility>
#include <vector>

#include "modules/streams/k2r/K2RIOStream.h"
#include "modules/streams/k2r/storedFiles.h"
#include "util/box.h"
#include "util/bytes.h"
#include "util/fourcc.h"
#include "util/tagHeader.h"

namespace qvs::k2r {
namespace {

using namespace util;

/// Bytes of the largest box that is read into memory. The container library has the same limit.
constexpr std::uint64_t kMaxLoadedBox = std::uint64_t{256} << 20;

/// Position and size of a box in the file, in bytes.
struct FileBox {
  std::uint64_t begin = 0;
  std::uint64_t headerSize = 0;
  std::uint64_t size = 0;

  std::uint64_t end() const { return begin + size; }
};

/// An open segment file. Reading past its end throws MalformedInput; UnreadableFile is thrown if the host cannot open
/// or read it.
class StoredSegment {
 public:
  StoredSegment(IMOFileContext& files, std::string path)
      : files_(files),
        path_(std::move(path)),
        handle_(files.open(path_.c_str(), K2RIOStream::kKeepFlags, K2RIOStream::kFileMode, 0)) {
    IMOFileStatus status;
    if (handle_ == -1) throw UnreadableFile(path_, "the host does not open it");
    if (files_.fileStatus(handle_, &status, 0) == 0) {
      size_ = static_cast<std::uint64_t>(status.size);
      return;
    }
    files_.close(handle_, 0);
    throw UnreadableFile(path_, "the host does not tell its size");
  }
  ~StoredSegment() {
    try {
      files_.close(handle_, 0);
    } catch (...) {  // An exception of the host's close() would end the process here.
    }
  }
  StoredSegment(const StoredSegment&) = delete;
  StoredSegment& operator=(const StoredSegment&) = delete;

  std::vector<std::byte> read(std::uint64_t offset, std::uint64_t count) {
    if (offset > size_ || count > size_ - offset) throw MalformedInput("a segment ends too early");
    std::vector<std::byte> bytes(static_cast<std::size_t>(count));
    for (std::size_t done = 0; done < bytes.size();) {
      const auto left = static_cast<std::uint32_t>(bytes.size() - done);  // Fits: boxes are at most kMaxLoadedBox.
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

/// The decode time of the fragment's first tag: that of the last track, the hint track, whose samples are all tags.
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

StoredFragment readFragment(StoredSegment& file, std::uint64_t position) {
  const FileBox afra = file.box(position, "afra"_4cc);
  const FileBox abst = file.box(afra.end(), "abst"_4cc);
  const FileBox moof = file.box(abst.end(), "moof"_4cc);
  const FileBox mdat = file.box(moof.end(), "mdat"_4cc);
  StoredFragment fragment{.bootstrap = parseBootstrap(file.load(abst)), .baseTime = {}};
  // Each tag has its absolute time, and the decode times count from the recording's start.
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
  StoredSegment file(files, path);
  try {
    return readFragment(file, position);
  } catch (const UnreadableFile&) {
    throw;
  } catch (const QVSException&) {
    return std::nullopt;  // Not a whole fragment: a crash may have interrupted it.
  }
}

}  // namespace qvs::k2r
