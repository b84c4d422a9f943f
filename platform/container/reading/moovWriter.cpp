#include "platform/container/reading/moovWriter.h"

#include <limits>

#include "platform/container/reading/numbers.h"
#include "platform/container/reading/sampleEntry.h"
#include "util/box.h"
#include "util/narrow.h"

namespace krvo::container {
namespace {

using qvs::util::BoxScope;
using qvs::util::ByteWriter;
using qvs::util::narrow;

/// ISO/IEC 14496-12, 8.4.2.3: each letter is stored as its difference to this one.
constexpr char kLanguageBase = 0x60;
/// `dref`: the media are in this file.
constexpr std::uint32_t kSelfContained = 1;

bool fits32(std::uint64_t value) {
  return value <= std::numeric_limits<std::uint32_t>::max();
}

/// Version 1 has 64-bit times. Version 0 is preferred, since some players read nothing else.
std::uint8_t versionFor(std::uint64_t created, std::uint64_t modified, std::uint64_t duration) {
  return fits32(created) && fits32(modified) && fits32(duration) ? 0 : 1;
}

/// A time in the width that the version gives it.
void writeTime(ByteWriter& out, std::uint8_t version, std::uint64_t time) {
  if (version == 1) {
    out.u64(time);
  } else {
    out.u32(static_cast<std::uint32_t>(time));
  }
}

/// No rotation or scaling (8.2.2.2).
void writeUnityMatrix(ByteWriter& out) {
  constexpr std::uint32_t kOne = 0x00010000;
  for (const std::uint32_t value : {kOne, 0U, 0U, 0U, kOne, 0U, 0U, 0U, 0x40000000U}) out.u32(value);
}

/// `iso6` has the offsets that count from the `moof` and the `tfdt`; the others let older players try.
void writeFtyp(ByteWriter& out) {
  BoxScope ftyp(out, "ftyp"_4cc);
  out.u32("iso6"_4cc);
  out.u32(1);
  for (const FourCC brand : {"iso6"_4cc, "isom"_4cc, "mp41"_4cc}) out.u32(brand);
}

void writeMvhd(ByteWriter& out, const Movie& movie) {
  const std::uint8_t version = versionFor(movie.created, movie.modified, movie.duration);
  BoxScope mvhd(out, "mvhd"_4cc, version, 0);
  writeTime(out, version, movie.created);
  writeTime(out, version, movie.modified);
  out.u32(movie.timescale);
  writeTime(out, version, movie.duration);
  out.i32(toFixed<std::int32_t>(movie.rate, 16));
  out.i16(toFixed<std::int16_t>(movie.volume, 8));
  out.zeros(2 + 8);
  writeUnityMatrix(out);
  out.zeros(24);
  out.u32(narrow<std::uint32_t>(movie.tracks.size() + 1));  // the next free track id
}

/// `duration` is in the timescale of the movie here, and in that of the track in the `mdhd` (8.3.2.2, 8.4.2.2).
void writeTkhd(ByteWriter& out, const Track& track, std::uint64_t duration) {
  const std::uint8_t version = versionFor(track.created, track.modified, duration);
  BoxScope tkhd(out, "tkhd"_4cc, version, track.flags);
  writeTime(out, version, track.created);
  writeTime(out, version, track.modified);
  out.u32(track.id);
  out.zeros(4);
  writeTime(out, version, duration);
  out.zeros(8 + 2 + 2);
  out.i16(toFixed<std::int16_t>(track.volume, 8));
  out.zeros(2);
  writeUnityMatrix(out);
  // 16.16 fixed point (8.3.2.2).
  out.u32(toFixed<std::uint32_t>(track.width, 16));
  out.u32(toFixed<std::uint32_t>(track.height, 16));
}

/// The hint track names the tracks whose samples its tags contain (8.3.3).
void writeTref(ByteWriter& out, const Track& track) {
  if (track.hintedTracks.empty()) return;
  BoxScope tref(out, "tref"_4cc);
  BoxScope hint(out, "hint"_4cc);
  for (const std::uint32_t id : track.hintedTracks) out.u32(id);
}

void writeMdhd(ByteWriter& out, const Track& track) {
  const std::uint8_t version = versionFor(track.created, track.modified, track.duration);
  BoxScope mdhd(out, "mdhd"_4cc, version, 0);
  writeTime(out, version, track.created);
  writeTime(out, version, track.modified);
  out.u32(track.timescale);
  writeTime(out, version, track.duration);
  out.u16(packLanguage(track.language));
  out.zeros(2);
}

/// The name ends in a zero byte (8.4.3.2).
void writeHdlr(ByteWriter& out, const Track& track) {
  BoxScope hdlr(out, "hdlr"_4cc, 0, 0);
  out.zeros(4);
  out.u32(track.handler);
  out.zeros(12);
  out.text(track.handlerName);
  out.u8(0);
}

void writeMediaHeader(ByteWriter& out, const Track& track) {
  switch (track.handler) {
    case "vide"_4cc: {
      BoxScope vmhd(out, "vmhd"_4cc, 0, 1);
      out.zeros(8);
      return;
    }
    case "soun"_4cc: {
      BoxScope smhd(out, "smhd"_4cc, 0, 0);
      out.zeros(4);
      return;
    }
    case "hint"_4cc: {
      BoxScope hmhd(out, "hmhd"_4cc, 0, 0);
      out.zeros(16);
      return;
    }
    default: {
      BoxScope nmhd(out, "nmhd"_4cc, 0, 0);
    }
  }
}

/// One data reference for all samples: this file (8.7.2).
void writeDinf(ByteWriter& out) {
  BoxScope dinf(out, "dinf"_4cc);
  BoxScope dref(out, "dref"_4cc, 0, 0);
  out.u32(1);
  BoxScope url(out, "url "_4cc, 0, kSelfContained);
}

/// The sample tables are mandatory; if all samples are in fragments, they are empty.
void writeEmptyTables(ByteWriter& out, const Track&) {
  for (const FourCC type : {"stts"_4cc, "stsc"_4cc, "stsz"_4cc, "stco"_4cc}) {
    BoxScope table(out, type, 0, 0);
    if (type == "stsz"_4cc) out.u32(0);  // the size that all samples share
    out.u32(0);
  }
}

void writeStbl(ByteWriter& out, const Track& track, const TrackBoxWriter& writeTables) {
  BoxScope stbl(out, "stbl"_4cc);
  {
    BoxScope stsd(out, "stsd"_4cc, 0, 0);
    out.u32(narrow<std::uint32_t>(track.descriptions.size()));
    for (const auto& description : track.descriptions) writeSampleEntry(out, *description);
  }
  writeTables(out, track);
}

void writeTrak(ByteWriter& out, const Track& track, const Movie& movie, const TrackBoxWriters& writers) {
  BoxScope trak(out, "trak"_4cc);
  writeTkhd(out, track,
            writers.duration ? writers.duration(track) : rescale(track.duration, track.timescale, movie.timescale));
  writeTref(out, track);
  if (writers.edits) writers.edits(out, track);
  BoxScope mdia(out, "mdia"_4cc);
  writeMdhd(out, track);
  writeHdlr(out, track);
  BoxScope minf(out, "minf"_4cc);
  writeMediaHeader(out, track);
  writeDinf(out);
  writeStbl(out, track, writers.tables);
}

/// The box that announces fragments (8.8.1). Each `tfhd` has its own defaults, so those here are 1, 0, 0, 0.
void writeMvex(ByteWriter& out, const Movie& movie) {
  BoxScope mvex(out, "mvex"_4cc);
  for (const auto& track : movie.tracks) {
    BoxScope trex(out, "trex"_4cc, 0, 0);
    out.u32(track->id);
    out.u32(1);
    out.zeros(12);
  }
}

}  // namespace

void writeHeader(ByteWriter& out, const Movie& movie) {
  writeFtyp(out);
  BoxScope moov(out, "moov"_4cc);
  writeMvhd(out, movie);
  const TrackBoxWriters writers{.duration = nullptr, .edits = nullptr, .tables = writeEmptyTables};
  for (const auto& track : movie.tracks) writeTrak(out, *track, movie, writers);
  writeMvex(out, movie);
}

void writeMovie(ByteWriter& out, const Movie& movie, const TrackBoxWriters& writers) {
  BoxScope moov(out, "moov"_4cc);
  writeMvhd(out, movie);
  for (const auto& track : movie.tracks) writeTrak(out, *track, movie, writers);
}

std::uint16_t packLanguage(const std::array<char, 3>& letters) {
  unsigned packed = 0;
  for (const char letter : letters) packed = packed << 5 | static_cast<unsigned>(letter - kLanguageBase);
  return static_cast<std::uint16_t>(packed);
}

std::array<char, 3> unpackLanguage(std::uint16_t packed) {
  const auto letter = [packed](int shift) { return static_cast<char>((packed >> shift & 0x1F) + kLanguageBase); };
  return {letter(10), letter(5), letter(0)};
}

}  // namespace krvo::container
