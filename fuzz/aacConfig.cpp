// AAC configurations, and the boxes in which a track keeps its codec's configuration. The input is taken as a
// configuration, then as the codec header of a track.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "packaging/CodecBoxes.h"
#include "packaging/mp4/K2MAdaptor/source/AACBitstream.h"

namespace {

using namespace ruvo::k2rpkgutil;

void require(bool condition) {
  if (!condition) std::abort();
}

void readAsConfig(std::span<const std::byte> input) {
  AacConfig config;
  config.data = input.data();
  config.dataSize = static_cast<std::int32_t>(input.size());
  const AacVerdict verdict = readAacConfig(config);
  require((verdict == AacVerdict::kRead) == (config.parsed == AacConfig::kParsed));
  require(config.sampleRate >= 0 && config.sampleRate < 1 << 24);
  require(config.channelConfig >= 0 && config.channelConfig <= 48);

  const auto box = makeEsdsBox(input);
  const auto found = findAacConfig(box);
  require(std::equal(found.begin(), found.end(), input.begin(), input.end()));
}

void readAsCodecHeader(std::span<const std::byte> input) {
  const qvs::util::ByteBuffer header(input);
  for (const auto found : {findAvcCBox(header), findAacConfig(header)}) {
    require(found.empty() ||
            (found.data() >= header.data() && found.data() + found.size() <= header.data() + header.size()));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto input = std::as_bytes(std::span(data, size));
  readAsConfig(input);
  readAsCodecHeader(input);
  return 0;
}
