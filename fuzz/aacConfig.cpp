// AAC configurations, and the boxes in which a track keeps its codec's configuration. The input is taken as a
// configuration, then as the codec header of a track.

#include "fuzz/fuzzing.h"
#include "packaging/CodecBoxes.h"
#include "packaging/mp4/K2MAdaptor/source/AACBitstream.h"

using namespace ruvo::k2rpkgutil;

void fuzz::target(Bytes input) {
  AacConfig config;
  config.data = input.data();
  config.dataSize = static_cast<std::int32_t>(input.size());
  const AacVerdict verdict = readAacConfig(config);
  require((verdict == AacVerdict::kRead) == (config.parsed == AacConfig::kParsed), "read is parsed");
  require(config.sampleRate >= 0 && config.sampleRate < 1 << 24, "a sample rate has 24 bits");
  require(config.channelConfig >= 0 && config.channelConfig <= 48, "a program has at most 48 channel elements");
  const auto box = makeEsdsBox(input);
  requireEqual(findAacConfig(box), input, "a box gives back its configuration");

  const qvs::util::ByteBuffer header(input);
  const std::byte* const end = header.data() + header.size();
  for (const auto found : {findAvcCBox(header), findAacConfig(header)}) {
    const bool lies = found.empty() || (found.data() >= header.data() && found.data() + found.size() <= end);
    require(lies, "a view of the input");
  }
}
