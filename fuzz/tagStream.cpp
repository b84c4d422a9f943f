// Tag streams: whichever way they are read, the tags are the same, and parts of the input, in order.

#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/fuzzing.h"
#include "packaging/MTGMediaSource.h"
#include "packaging/RefCountedMemoryArena.h"
#include "tests/support/tagFile.h"
#include "wrappers/mtg/Reader.h"

namespace {

using namespace ruvo::k2rpkgutil;
using Tags = std::vector<std::vector<std::byte>>;

std::vector<std::byte> bytesOf(const mtg::Tag& tag) {
  const auto bytes = tag.viewHeaderAndData();
  return {bytes.begin(), bytes.end()};
}

/// All tags, header and data each.
Tags readAll(const std::vector<std::byte>& input, bool seeks) {
  test::MemoryInput stream(input, seeks);
  stream.bytesOfRead = 100;
  const mtg::Allocator allocator;
  const mtg::TagIterator tags = mtg::Reader(stream, allocator).tags();
  Tags all;
  while (const auto tag = tags.next()) all.push_back(bytesOf(*tag));
  return all;
}

/// Bytes after the last whole tag may look like another one from the end of the file, so the way back need not be the
/// way there; but it ends, at a tag or at a back pointer that leads to none.
void checkWayBack(const std::vector<std::byte>& input) {
  test::MemoryInput stream(input);
  const mtg::Allocator allocator;
  const mtg::TagIterator tags = mtg::Reader(stream, allocator).tags(true);
  std::size_t length = 0;
  try {
    while (const auto tag = tags.next()) length += bytesOf(*tag).size();
  } catch (const mtg::Exception& error) {
    fuzz::require(error.status() == kKrvoMTGNoWayBack, "nothing but a back pointer breaks the way back");
  }
  fuzz::require(length <= input.size(), "the way back is no longer than the file");
}

void checkOrder(const std::vector<std::byte>& input, const Tags& all) {
  auto rest = std::span(input);
  for (const auto& tag : all) {
    const auto found = std::search(rest.begin(), rest.end(), tag.begin(), tag.end());
    fuzz::require(found != rest.end(), "tags are bytes of the input");
    rest = rest.subspan(static_cast<std::size_t>(found - rest.begin()) + tag.size());
  }
}

struct Context final : IPackagerContext {
  IMemoryArena& getArena() override { return arena; }
  RefCountedMemoryArena arena;
};

/// The result of the packager for the same file on disk.
void checkSource(const std::string& path, const Tags& all) {
  Context context;
  MTGMediaSource source(context, path, ruvo::k2r::openFlagsFor(false, true));
  std::unique_ptr<ISampleIterator> samples;
  source.getSamples(samples);
  std::size_t count = 0;
  for (; samples->hasNext(); ++count) {
    ruvo::k2r::SampleInfo info;
    NQMessage message;
    samples->nextInfo(info);
    samples->currentMessage(message);
    fuzz::require(message.sampleOffset() + message.sampleSize() + 4 == message.totalSize(),
                  "samples end with the data");
  }
  const auto isMedia = [](const auto& tag) { return (std::to_integer<int>(tag[0]) & 0x5E) == 8; };
  fuzz::require(count == static_cast<std::size_t>(std::count_if(all.begin(), all.end(), isMedia)),
                "each tag of audio or video is a sample");
}

}  // namespace

void fuzz::target(Bytes data) {
  const std::vector<std::byte> input(data.begin(), data.end());
  try {
    const Tags all = readAll(input, true);
    require(readAll(input, false) == all, "a stream that cannot seek gives the same");
    checkOrder(input, all);
    checkWayBack(input);
    const int file = ::memfd_create("input", MFD_CLOEXEC);
    const auto written = ::write(file, input.data(), input.size());
    require(written == static_cast<ssize_t>(input.size()), "a file in memory takes the input");
    checkSource("/proc/self/fd/" + std::to_string(file), all);
    ::close(file);
  } catch (const mtg::Exception& error) {
    const bool ofTheHeader = error.status() == kKrvoMTGNoTagStream || error.status() == kKrvoMTGBadHeader;
    require(ofTheHeader, "nothing fails but the header");
  }
}
