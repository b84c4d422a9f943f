// Tag streams: with and without seeking the tags are the same, and parts of the input, in order.

#include "fuzz/fuzzing.h"
#include "tests/support/tagFile.h"
#include "wrappers/mtg/Reader.h"

namespace {

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

void checkOrder(const std::vector<std::byte>& input, const Tags& all) {
  auto rest = std::span(input);
  for (const auto& tag : all) {
    const auto found = std::search(rest.begin(), rest.end(), tag.begin(), tag.end());
    fuzz::require(found != rest.end(), "tags are bytes of the input");
    rest = rest.subspan(static_cast<std::size_t>(found - rest.begin()) + tag.size());
  }
}

}  // namespace

void fuzz::target(Bytes data) {
  const std::vector<std::byte> input(data.begin(), data.end());
  try {
    const Tags all = readAll(input, true);
    require(readAll(input, false) == all, "a stream that cannot seek gives the same");
    checkOrder(input, all);
  } catch (const mtg::Exception& error) {
    const bool ofTheHeader = error.status() == kKrvoMTGNoTagStream || error.status() == kKrvoMTGBadHeader;
    require(ofTheHeader, "nothing fails but the header");
  }
}
