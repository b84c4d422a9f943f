#include "platform/container/reading/SegmentReader.h"

#include "platform/container/reading/fragmentReader.h"
#include "platform/container/reading/moovReader.h"

namespace krvo::container {

SegmentReader::SegmentReader(Source& source) : source_(source) {
  const BoxSpan ftyp = expectBoxAt(source_, 0, "ftyp"_4cc);
  moov_ = expectBoxAt(source_, ftyp.end(), "moov"_4cc);
  const auto payload = loadPayload(source_, moov_);
  LoadedBox moov = loadedBox(moov_, payload);
  movie_ = readMovie(moov);
}

std::optional<BoxSpan> SegmentReader::boxAt(std::uint64_t offset) {
  // Only exactly at the end: a few bytes more are a torn box, which is an error.
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
  return {source_, mfra};
}

}  // namespace krvo::container
