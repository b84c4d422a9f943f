#include "host/files/SegmentMap.h"

#include <fmt/format.h>

#include <algorithm>

namespace host {

using krvo::container::BoxSpan;
using krvo::container::FragmentBoxes;
using krvo::container::SegmentError;
using qvs::util::FourCC;
using qvs::util::toText;
using qvs::util::operator""_4cc;

namespace {

constexpr std::size_t kBoxHeader = 8;

/// Maps the boxes from one known position to the next.
class SpanMapper {
 public:
  SpanMapper(FileView& file, std::uint64_t begin, std::uint64_t end, SegmentMap& map)
      : file_(file), offset_(begin), end_(end), map_(map) {}

  void read() {
    try {
      if (offset_ == 0) readHeader();
      while (offset_ < end_ && next().type == "afra"_4cc) readFragment();
      if (end_ == file_.size()) {
        readTail();
      } else if (offset_ != end_) {
        throw SegmentError(offset_, "not a box of a fragment, but the index has a fragment further on");
      }
    } catch (const SegmentError& error) {
      map_.breaks.push_back({error.offset(), error.fault()});
    }
  }

 private:
  BoxSpan next() {
    const BoxSpan box = readBoxAt(file_, offset_);
    // A damaged size would otherwise swallow the fragments after it, which are known.
    if (box.end() > end_) {
      throw SegmentError(offset_, fmt::format("{} of {} bytes, but by the index a fragment begins at {}",
                                              toText(box.type), box.size, end_));
    }
    return box;
  }

  BoxSpan take(FourCC type) {
    const BoxSpan box = next();
    if (box.type != type) {
      throw SegmentError(offset_, fmt::format("{} expected, found {}", toText(type), toText(box.type)));
    }
    offset_ = box.end();
    return box;
  }

  void readHeader() {
    map_.ftyp = take("ftyp"_4cc);
    map_.moov = take("moov"_4cc);
  }

  void readFragment() {
    // Added when all four boxes are there: the map has whole fragments only.
    FragmentBoxes fragment;
    fragment.afra = take("afra"_4cc);
    fragment.abst = take("abst"_4cc);
    fragment.moof = take("moof"_4cc);
    fragment.mdat = take("mdat"_4cc);
    map_.fragments.push_back(fragment);
  }

  void readTail() {
    while (offset_ < end_) {
      const BoxSpan box = next();
      if (box.type != "free"_4cc && box.type != "mfra"_4cc) {
        throw SegmentError(offset_, "afra, free or mfra expected, found " + toText(box.type));
      }
      map_.tail.push_back(box);
      offset_ = box.end();
    }
  }

  FileView& file_;
  std::uint64_t offset_;
  std::uint64_t end_;
  SegmentMap& map_;
};

/// Whether the fragment of an index entry is there. A wrong entry must not break the map where the boxes are whole.
bool hasFragment(FileView& file, std::uint64_t position) {
  if (position == 0 || position >= file.size() || file.size() - position < kBoxHeader) return false;
  qvs::util::ByteReader header(file.view(position, kBoxHeader));
  header.skip(4);
  return header.u32() == "afra"_4cc;
}

}  // namespace

const FragmentBoxes* SegmentMap::fragmentAt(std::uint64_t position) const {
  const auto found =
      std::lower_bound(fragments.begin(), fragments.end(), position,
                       [](const FragmentBoxes& fragment, std::uint64_t value) { return fragment.position() < value; });
  return found != fragments.end() && found->position() == position ? &*found : nullptr;
}

const BoxSpan* SegmentMap::randomAccess() const {
  const auto found = std::find_if(tail.begin(), tail.end(), [](const BoxSpan& box) { return box.type == "mfra"_4cc; });
  return found == tail.end() ? nullptr : &*found;
}

SegmentMap mapSegment(FileView& file, const std::set<std::uint64_t>& known) {
  SegmentMap map;
  map.fileSize = file.size();
  std::uint64_t begin = 0;
  for (const std::uint64_t position : known) {
    if (!hasFragment(file, position)) continue;
    SpanMapper(file, begin, position, map).read();
    begin = position;
  }
  SpanMapper(file, begin, file.size(), map).read();
  return map;
}

}  // namespace host
