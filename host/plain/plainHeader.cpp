#include "host/plain/plainHeader.h"

#include <algorithm>
#include <optional>
#include <set>

#include "host/digest.h"
#include "util/box.h"
#include "util/bytes.h"

namespace host {

using krvo::container::Track;
using namespace qvs::util;

namespace {

using TrackIds = std::set<std::uint32_t>;

bool isInPlainView(FourCC handler) {
  return handler == "vide"_4cc || handler == "soun"_4cc;
}

/// Calls `visit(box, whole)` for each box of a payload; `whole` includes the header. Throws MalformedInput.
template <typename Visit>
void forEachWholeBox(std::span<const std::byte> boxes, const Visit& visit) {
  ByteReader in(boxes);
  while (in.remaining() > 0) {
    const std::size_t start = in.position();
    const BoxView box = nextBox(in);
    visit(box, boxes.subspan(start, in.position() - start));
  }
}

std::span<const std::byte> payloadOf(const BoxView& box) {
  ByteReader payload = box.payload;
  return payload.bytes(payload.remaining());
}

/// The payload of the first box of that type; nothing if there is none.
std::optional<std::span<const std::byte>> findBox(std::span<const std::byte> boxes, FourCC type) {
  std::optional<std::span<const std::byte>> found;
  forEachWholeBox(boxes, [&](const BoxView& box, std::span<const std::byte>) {
    if (!found && box.type == type) found = payloadOf(box);
  });
  return found;
}

std::span<const std::byte> needBox(std::span<const std::byte> boxes, FourCC type) {
  const auto payload = findBox(boxes, type);
  if (!payload) throw MalformedInput("no `" + toText(type) + "`");
  return *payload;
}

std::uint32_t trackIdOf(std::span<const std::byte> trak) {
  ByteReader tkhd(needBox(trak, "tkhd"_4cc));
  const std::size_t dates = readVersionAndFlags(tkhd).version == 1 ? 16 : 8;
  tkhd.skip(dates);
  return tkhd.u32();
}

FourCC handlerOf(std::span<const std::byte> trak) {
  ByteReader hdlr(needBox(needBox(trak, "mdia"_4cc), "hdlr"_4cc));
  hdlr.skip(8);  // version and flags, and an unused field
  return hdlr.u32();
}

/// A copy of `mvhd`, `tkhd` or `mdhd` with the dates of creation and change set to 0. They follow version and flags in
/// all three, and would make the headers of each segment different.
std::vector<std::byte> withoutDates(std::span<const std::byte> whole, std::size_t headerSize) {
  std::vector<std::byte> box(whole.begin(), whole.end());
  ByteReader in(whole);
  in.skip(headerSize);
  const std::size_t dates = readVersionAndFlags(in).version == 1 ? 16 : 8;
  in.need(dates);
  std::fill_n(box.begin() + static_cast<std::ptrdiff_t>(in.position()), dates, std::byte{0});
  return box;
}

/// Writes the header of the view.
class HeaderWriter {
 public:
  std::vector<std::byte> write(std::span<const std::byte> header) {
    forEachWholeBox(header, [this](const BoxView& box, std::span<const std::byte> whole) {
      if (box.type == "ftyp"_4cc) out_.bytes(whole);
      if (box.type == "moov"_4cc) writeMoov(payloadOf(box));
    });
    return out_.take();
  }

 private:
  void writeMoov(std::span<const std::byte> moov) {
    // In a pass of their own, since `mvhd` comes before the tracks and needs the highest id.
    forEachWholeBox(moov, [this](const BoxView& box, std::span<const std::byte>) {
      if (box.type != "trak"_4cc) return;
      if (isInPlainView(handlerOf(payloadOf(box)))) kept_.insert(trackIdOf(payloadOf(box)));
    });
    const BoxScope scope(out_, "moov"_4cc);
    forEachWholeBox(moov, [this](const BoxView& box, std::span<const std::byte> whole) {
      if (box.type == "mvhd"_4cc) {
        writeMvhd(whole, box.headerSize);
      } else if (box.type == "trak"_4cc) {
        if (kept_.contains(trackIdOf(payloadOf(box)))) writeTrak(payloadOf(box));
      } else if (box.type == "mvex"_4cc) {
        writeMvex(payloadOf(box));
      } else {
        out_.bytes(whole);
      }
    });
  }

  void writeMvhd(std::span<const std::byte> whole, std::size_t headerSize) {
    auto mvhd = withoutDates(whole, headerSize);
    if (mvhd.size() < headerSize + sizeof(std::uint32_t)) throw MalformedInput("an `mvhd` that is too short");
    // `next_track_ID` is the last field of the box. It is computed from the kept tracks, so that recordings with the
    // same view have the same header.
    const std::uint32_t nextId = kept_.empty() ? 1 : *kept_.rbegin() + 1;
    storeBigEndian(mvhd.data() + mvhd.size() - sizeof nextId, sizeof nextId, nextId);
    out_.bytes(mvhd);
  }

  void writeTrak(std::span<const std::byte> trak) {
    const BoxScope scope(out_, "trak"_4cc);
    forEachWholeBox(trak, [this](const BoxView& box, std::span<const std::byte> whole) {
      if (box.type == "tkhd"_4cc) {
        out_.bytes(withoutDates(whole, box.headerSize));
      } else if (box.type == "mdia"_4cc) {
        writeMdia(payloadOf(box));
      } else if (box.type != "tref"_4cc) {  // it may refer to tracks that are left out
        out_.bytes(whole);
      }
    });
  }

  void writeMdia(std::span<const std::byte> mdia) {
    const BoxScope scope(out_, "mdia"_4cc);
    forEachWholeBox(mdia, [this](const BoxView& box, std::span<const std::byte> whole) {
      if (box.type == "mdhd"_4cc) {
        out_.bytes(withoutDates(whole, box.headerSize));
      } else {
        out_.bytes(whole);
      }
    });
  }

  void writeMvex(std::span<const std::byte> mvex) {
    const BoxScope scope(out_, "mvex"_4cc);
    forEachWholeBox(mvex, [this](const BoxView& box, std::span<const std::byte> whole) {
      ByteReader payload = box.payload;
      if (box.type == "trex"_4cc) {
        readVersionAndFlags(payload);
        if (!kept_.contains(payload.u32())) return;
      }
      out_.bytes(whole);
    });
  }

  ByteWriter out_;
  TrackIds kept_;
};

/// The decoder configuration record of an AVC track (ISO/IEC 14496-15, 5.3.3.1); empty for others. A view.
std::span<const std::byte> avcConfigurationOf(const Track& track) {
  if (!track.isVideo() || track.descriptions.empty()) return {};
  return findBox(track.descriptions.front()->codecHeader, "avcC"_4cc).value_or(std::span<const std::byte>{});
}

/// Copies `count` parameter sets. Their lengths have 16 bits in the record, and `lengthSize` bytes in `out`.
void copySets(ByteReader& record, unsigned count, std::size_t lengthSize, ByteWriter& out) {
  for (unsigned i = 0; i < count; ++i) {
    const std::uint16_t size = record.u16();
    if (lengthSize == 1 && size > 0xFF) throw MalformedInput("a parameter set beyond its length field");
    std::byte length[4] = {};
    storeBigEndian(length, lengthSize, size);
    out.bytes(std::span(length, lengthSize));
    out.bytes(record.bytes(size));
  }
}

}  // namespace

bool isInPlainView(const Track& track) {
  return isInPlainView(track.handler);
}

const Track* presentedTrack(const krvo::container::Movie& movie, std::uint32_t id) {
  const auto found = std::ranges::find(movie.tracks, id, [](const auto& track) { return track->id; });
  return found != movie.tracks.end() && isInPlainView(**found) ? found->get() : nullptr;
}

std::vector<std::byte> plainHeader(std::span<const std::byte> header) {
  return HeaderWriter().write(header);
}

std::vector<std::byte> readPlainHeader(krvo::container::Source& file, std::uint64_t size) {
  std::vector<std::byte> stored(static_cast<std::size_t>(size));
  file.read(0, stored);
  return plainHeader(stored);
}

std::string plainHeaderName(std::span<const std::byte> header) {
  // The beginning of a SHA-256, long enough to give different headers different names.
  constexpr std::size_t kShown = 8;
  return "init-" + digestText(header, kShown) + ".mp4";
}

std::size_t nalLengthSize(const Track& track) {
  constexpr std::size_t kLengthSizeField = 4;
  const auto record = avcConfigurationOf(track);
  if (record.size() <= kLengthSizeField) return 0;
  return (std::to_integer<std::size_t>(record[kLengthSizeField]) & 3) + 1;
}

std::vector<std::byte> parameterSets(const Track& track) {
  const std::size_t lengthSize = nalLengthSize(track);
  if (lengthSize == 0) return {};
  try {
    ByteReader record(avcConfigurationOf(track));
    record.skip(5);  // version, profile, compatibility, level, length size
    ByteWriter out;
    const unsigned sequenceSets = record.u8() & 0x1FU;
    copySets(record, sequenceSets, lengthSize, out);
    const unsigned pictureSets = record.u8();
    copySets(record, pictureSets, lengthSize, out);
    return out.take();
  } catch (const MalformedInput&) {
    return {};
  }
}

}  // namespace host
