#include "platform/container/reading/moovReader.h"

#include <algorithm>

#include "platform/container/reading/moovWriter.h"
#include "platform/container/reading/numbers.h"
#include "platform/container/reading/sampleEntry.h"

namespace krvo::container {
namespace {

using qvs::util::ByteReader;

/// A full box whose dates and durations have 32 bits in version 0 and 64 in version 1.
class TimedBox {
 public:
  explicit TimedBox(ByteReader& in) : in_(in), word_(qvs::util::readVersionAndFlags(in)) {
    demand(word_.version <= 1, "unknown version");
  }

  std::uint64_t time() { return word_.version == 1 ? in_.u64() : in_.u32(); }
  std::uint32_t flags() const { return word_.flags; }

 private:
  ByteReader& in_;
  qvs::util::VersionAndFlags word_;
};

void readMvhd(ByteReader& in, Movie& movie) {
  TimedBox box(in);
  movie.created = box.time();
  movie.modified = box.time();
  movie.timescale = in.u32();
  movie.duration = box.time();
  movie.rate = fromFixed(in.i32(), 16);
  movie.volume = fromFixed(in.i16(), 8);
  demand(movie.timescale != 0, "a timescale of 0");
}

void readTkhd(ByteReader& in, Track& track) {
  TimedBox box(in);
  track.flags = box.flags();
  track.created = box.time();
  track.modified = box.time();
  track.id = in.u32();
  in.skip(4);          // reserved
  box.time();          // the duration in the movie's timescale; `mdhd` has it in the track's
  in.skip(8 + 2 + 2);  // reserved, layer, alternate group
  track.volume = fromFixed(in.i16(), 8);
  in.skip(2 + 36);  // reserved, matrix
  track.width = fromFixed(in.u32(), 16);
  track.height = fromFixed(in.u32(), 16);
  demand(track.id != 0, "a track id of 0");
}

void readMdhd(ByteReader& in, Track& track) {
  TimedBox box(in);
  // The dates of the `tkhd` are those of the track; these are the same.
  box.time();
  box.time();
  track.timescale = in.u32();
  track.duration = box.time();
  track.language = unpackLanguage(in.u16());
  demand(track.timescale != 0, "a timescale of 0");
}

void readHdlr(ByteReader& in, Track& track) {
  in.skip(4 + 4);  // version and flags, a reserved field
  track.handler = in.u32();
  in.skip(12);
  track.handlerName.clear();
  while (in.remaining() > 0) {
    const std::uint8_t c = in.u8();
    if (c == 0) return;  // some writers put further bytes after the end of the name
    track.handlerName.push_back(static_cast<char>(c));
  }
}

/// The count is passed on to whoever asks for it; samples of such a table are not read.
void readStsz(ByteReader& in, Track& track) {
  in.skip(4 + 4);
  track.sampleCount = in.u32();
}

/// The form of an entry depends on the handler type, so `hdlr` must have been read.
void readStsd(LoadedBox& stsd, Track& track) {
  const std::uint32_t count = readBox(stsd, [](ByteReader& in) {
    in.skip(4);
    return in.u32();
  });
  forEachBox(stsd, [&](LoadedBox& entry) {
    track.descriptions.push_back(std::make_shared<const SampleDescription>(readSampleEntry(entry, track.handler)));
  });
  readBox(stsd,
          [&](ByteReader&) { demand(track.descriptions.size() == count, "another number of entries than told"); });
}

void readStbl(LoadedBox& stbl, Track& track) {
  forEachBox(stbl, [&track](LoadedBox& box) {
    if (box.type == "stsd"_4cc) readStsd(box, track);
    if (box.type == "stsz"_4cc) readBox(box, [&](ByteReader& in) { readStsz(in, track); });
  });
}

void readMdia(LoadedBox& mdia, Track& track) {
  LoadedBox minf;  // read last, since `hdlr` may come after it
  forEachBox(mdia, [&](LoadedBox& box) {
    if (box.type == "mdhd"_4cc) readBox(box, [&](ByteReader& in) { readMdhd(in, track); });
    if (box.type == "hdlr"_4cc) readBox(box, [&](ByteReader& in) { readHdlr(in, track); });
    if (box.type == "minf"_4cc) minf = box;
  });
  // Checked here and not while reading, since the boxes may come in any order.
  readBox(mdia, [&](ByteReader&) {
    demand(track.timescale != 0, "no `mdhd`");
    demand(track.handler != 0, "no `hdlr`");
  });
  forEachBox(minf, [&track](LoadedBox& box) {
    if (box.type == "stbl"_4cc) readStbl(box, track);
  });
}

void readTref(LoadedBox& tref, Track& track) {
  forEachBox(tref, [&track](LoadedBox& box) {
    if (box.type != "hint"_4cc) return;
    readBox(box, [&track](ByteReader& in) {
      while (in.remaining() > 0) track.hintedTracks.push_back(in.u32());
    });
  });
}

std::shared_ptr<Track> readTrak(LoadedBox& trak) {
  auto track = std::make_shared<Track>();
  forEachBox(trak, [&track](LoadedBox& box) {
    if (box.type == "tkhd"_4cc) readBox(box, [&](ByteReader& in) { readTkhd(in, *track); });
    if (box.type == "tref"_4cc) readTref(box, *track);
    if (box.type == "mdia"_4cc) readMdia(box, *track);
  });
  readBox(trak, [&](ByteReader&) {
    demand(track->id != 0, "no `tkhd`");
    demand(track->timescale != 0, "no `mdia`");
  });
  return track;
}

/// The samples of a fragment are read without the `trex`, so its defaults must be those that a recorder writes.
void readTrex(ByteReader& in) {
  constexpr std::uint32_t kDefaults[] = {1, 0, 0, 0};
  in.skip(4 + 4);
  for (const std::uint32_t value : kDefaults) demand(in.u32() == value, "defaults other than 1, 0, 0, 0");
}

/// Fragments name their track by its id.
void checkIds(const Movie& movie) {
  std::vector<std::uint32_t> ids;
  for (const auto& track : movie.tracks) ids.push_back(track->id);
  std::sort(ids.begin(), ids.end());
  demand(std::adjacent_find(ids.begin(), ids.end()) == ids.end(), "a track id given twice");
}

}  // namespace

Movie readMovie(LoadedBox& moov) {
  Movie movie;
  forEachBox(moov, [&movie](LoadedBox& box) {
    if (box.type == "mvhd"_4cc) readBox(box, [&](ByteReader& in) { readMvhd(in, movie); });
    if (box.type == "trak"_4cc) movie.tracks.push_back(readTrak(box));
    if (box.type != "mvex"_4cc) return;
    forEachBox(box, [](LoadedBox& extends) {
      if (extends.type == "trex"_4cc) readBox(extends, &readTrex);
    });
  });
  readBox(moov, [&movie](ByteReader&) {
    demand(movie.timescale != 0, "no `mvhd`");
    checkIds(movie);
  });
  return movie;
}

}  // namespace krvo::container
