// Segment files that are anything but: read as a tool does, sample by sample, and reopened as an append does. What can
// be reopened must be written on, and then be reopened at what was written.
//
//     0  u64  position for the reopening
//     8       the file

#include "fuzz/fuzzing.h"
#include "platform/container/reading/SegmentReader.h"
#include "tests/support/MemoryStream.h"
#include "util/bytes.h"
#include "wrappers/k2m/Reader.h"
#include "wrappers/k2m/Writer.h"

namespace {

using namespace krvo;
using container::SegmentError;
using container::SegmentReader;
using fuzz::require;
using qvs::util::operator""_4cc;

/// Reads up to a fault, which lies in the file.
template <typename Read>
void readUpToAFault(const test::MemoryStream& source, const Read& read) {
  try {
    read();
  } catch (const SegmentError& error) {
    require(error.offset() <= source.bytes.size(), "a fault lies in the file");
  }
}

void readAsTool(fuzz::Bytes file) {
  test::MemoryStream source(file);
  readUpToAFault(source, [&] {
    SegmentReader reader(source);
    for (auto box = reader.boxAt(reader.firstFragment()); box; box = reader.boxAt(box->end())) {
      if (box->type == "afra"_4cc) readUpToAFault(source, [&] { reader.readTags(reader.readFragment(box->offset)); });
      if (box->type == "mfra"_4cc) reader.readRandomAccess(*box);
    }
  });
}

/// Reads the samples of the first tracks through the library's handles.
void readSamples(fuzz::Bytes file) {
  constexpr std::size_t kTracks = 4;
  test::MemoryStream stream(file);
  try {
    const k2m::Reader reader(stream);
    auto tracks = reader.tracks();
    tracks.resize(std::min(tracks.size(), kTracks));
    for (const auto& track : tracks) {
      const auto samples = reader.samples(track);
      while (const auto sample = samples.next()) {
        std::vector<std::byte> bytes(sample->info().length);
        sample->copyData(bytes);
        sample->descriptor().codecHeader();
      }
    }
  } catch (const k2m::Exception& error) {
    require(error.status() == kKrvoMalformed, "a known status");
  }
  require(stream.references == 0, "the stream is released");
}

/// Reads everything that an append asks of tracks. The hint track, where there is one.
k2m::Track readTracks(const k2m::Writer& writer) {
  k2m::Track hint;
  for (const auto& track : writer.tracks()) {
    track.entriesInfo();
    track.sampleCount();
    if (track.info().handlerType == "hint"_4cc) hint = track;
    for (const auto& descriptor : track.sampleDescriptors())
      require(descriptor.codecHeader().size() == descriptor.info().codecHeaderLength, "a codec header has its length");
  }
  return hint;
}

/// Reopens the file, and returns the end of a fragment added there. Throws k2m::Exception where it is refused.
std::uint64_t addFragment(test::MemoryStream& stream, std::uint64_t position, std::uint64_t& added) {
  constexpr std::byte kTag[15] = {std::byte{8}};
  const k2m::Allocator allocator;
  test::CarryOn warnings;
  k2m::K2RWriter writer(stream, warnings, allocator, position);
  const k2m::Track hint = readTracks(writer.k2mWriter());
  added = writer.startFragment();
  require(added <= stream.bytes.size(), "a fragment is added in the file");
  writer.addAbst(kTag);
  if (hint) {
    auto info = k2m::makeRecord<K2MSampleInfo>();
    info.length = sizeof(kTag);
    info.timescale = 1000;
    writer.addSampleWithAfra(hint, k2m::makeDataBuffer(kTag), info, true);
  }
  return writer.startFragment();
}

void appendTo(fuzz::Bytes file, std::uint64_t position) {
  test::MemoryStream stream(file);
  std::uint64_t added = 0;
  std::uint64_t end = 0;
  try {
    end = addFragment(stream, position, added);
  } catch (const k2m::Exception& error) {
    const auto status = error.status();
    require(status == kKrvoMalformed || status == kKrvoTooLarge || status == kKrvoBadArgument, "a known status");
    require(stream.references == 0, "the stream is released");
    return;
  }
  std::uint64_t next = 0;
  try {
    addFragment(stream, added, next);
  } catch (const k2m::Exception& error) {
    require(error.status() == kKrvoTooLarge, "what was added is reopened, unless its numbers are at their end");
    return;
  }
  require(next == end, "writing goes on behind what was added");
}

}  // namespace

void fuzz::target(Bytes data) {
  qvs::util::ByteReader input(data);
  if (input.remaining() < 8) return;
  const std::uint64_t position = input.u64();
  const auto file = input.bytes(input.remaining());
  readAsTool(file);
  readSamples(file);
  appendTo(file, 0);
  appendTo(file, position);
}
