#include "platform/container/SegmentReader.h"

#include <algorithm>

#include "platform/container/fragmentReader.h"
#include "platform/container/mfraReader.h"
#include "platform/container/moovReader.h"

namespace krvo::container {
namespace {

using qvs::util::ByteReader;

FileType readFileType(Source& source, const BoxSpan& box) {
  const auto payload = loadPayload(source, box);
  LoadedBox ftyp = loadedBox(box, payload);
  return readBox(ftyp, [](ByteReader& in) {
    FileType type;
    type.majorBrand = in.u32();
    type.minorVersion = in.u32();
    while (in.remaining() > 0) type.compatibleBrands.push_back(in.u32());
    return type;
  });
}

}  // namespace

SegmentReader::SegmentReader(Source& source) : source_(source) {
  const BoxSpan ftyp = expectBoxAt(source_, 0, "ftyp"_4cc);
  fileType_ = readFileType(source_, ftyp);
  const BoxSpan box = expectBoxAt(source_, ftyp.end(), "moov"_4cc);
  const auto payload = loadPayload(source_, box);
  LoadedBox moov = loadedBox(box, payload);
  movie_ = readMovie(moov);
  headerEnd_ = box.end();
}

const Track* SegmentReader::track(std::uint32_t id) const {
  const auto found =
      std::find_if(movie_.tracks.begin(), movie_.tracks.end(), [id](const auto& known) { return known->id == id; });
  return found == movie_.tracks.end() ? nullptr : found->get();
}

std::optional<BoxSpan> SegmentReader::boxAt(std::uint64_t offset) {
  if (offset == source_.size()) return std::nullopt;
  return readBoxAt(source_, offset);
}

Fragment SegmentReader::readFragment(std::uint64_t position) {
  return container::readFragment(source_, position, movie_);
}

std::vector<StoredTag> SegmentReader::readTags(const Fragment& fragment) {
  return container::readTags(source_, fragment.boxes.mdat);
}

RandomAccessTable SegmentReader::readRandomAccess(const BoxSpan& mfra) {
  return readMfra(source_, mfra);
}

}  // namespace krvo::container
