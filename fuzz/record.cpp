// A host that sends anything: a stream of record() calls made from the input, then a stop. The recording's small files
// must parse whatever was sent.

#include "fragmentation/AfraBox.h"
#include "fragmentation/BootstrapReader.h"
#include "fuzz/fuzzing.h"
#include "fuzz/recording.h"
#include "util/bytes.h"

namespace {

/// Sends the messages that an input stands for: each a type, a step in time, a size and that many bytes of the input.
///
///     0  u8   type; kinds of streams are found fast by the high bit: 0x80 stands for audio or video by its bit 0
///     1  u16  step in time, in ms; 0xFFFF is a jump of a day
///     3  u16  size; what the input lacks is not sent
void sendMessages(test::Recorder& recorder, std::span<const std::byte> input) {
  qvs::util::ByteReader in(input);
  for (test::StreamMessage message; in.remaining() >= 5;) {
    const std::uint8_t kind = in.u8();
    message.type = (kind & 0x80) != 0 ? static_cast<std::uint8_t>(8 + (kind & 1)) : kind;
    const std::uint16_t step = in.u16();
    message.time += step == 0xFFFF ? 86400000U : step;
    const std::uint16_t size = in.u16();
    const auto data = in.bytes(std::min<std::size_t>(size, in.remaining()));
    message.data.assign(data.begin(), data.end());
    recorder.record(message);
  }
}

void checkSmallFiles(const std::filesystem::path& directory) {
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    std::istringstream in(test::readWholeFile(entry.path()));
    ruvo::k2r::BootstrapInfo bootstrap;
    ruvo::k2r::AfraIndex index;
    if (entry.path().extension() == ".bootstrap") ruvo::k2r::readBootstrap(in, bootstrap);
    if (entry.path().extension() == ".k2i") ruvo::k2r::readAfra(in, index);
    fuzz::require(ruvo::k2r::hasConsecutiveFragments(index), "the numbers of an index rise by one");
  }
}

}  // namespace

void fuzz::target(Bytes input) {
  if (input.empty()) return;
  const auto choices = std::to_integer<unsigned>(input[0]);
  test::Recorder recorder(createAdaptor);
  recorder.host.settings["Recording/FragmentDuration"] = "1000";
  recorder.host.settings["Recording/SegmentDuration"] = (choices & 1) != 0 ? "3000" : "0";
  require(recorder.open(), "opened");
  if ((choices & 4) == 0) recorder.record(test::metadata(0));
  sendMessages(recorder, input.subspan(1));
  if ((choices & 2) == 0) recorder.stop();
  recorder.close();
  checkSmallFiles(recorder.directory());
}
