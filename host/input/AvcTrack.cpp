#include "host/input/AvcTrack.h"

#include <utility>

#include "host/input/avcFrame.h"
#include "packaging/tagCodec.h"

namespace host {

using namespace ruvo::k2rpkgutil;

namespace {

// Frame type in the high 4 bits, codec in the low ones.
constexpr std::uint8_t kKeyAvcFrame = kKeyFrame << 4 | kAvcVideo;
constexpr std::uint8_t kOtherAvcFrame = 0x20 | kAvcVideo;

}  // namespace

AvcTrack::AvcTrack(const AVCodecParameters& codec, Log& log)
    : log_(log), annexB_(!isConfigurationRecord(extradataOf(codec))) {
  if (annexB_) {
    learn(extradataOf(codec));
  } else {
    setConfiguration(extradataOf(codec));
  }
}

bool AvcTrack::prepare(AVPacket& packet) {
  if (payloadOf(packet).empty()) return false;
  const auto changed = newExtradataOf(packet);
  if (!annexB_ && isConfigurationRecord(changed)) setConfiguration(changed);
  if (!annexB_) markKeyPicture(packet);
  // Only until the first header: later parameter sets are in the frames, and CodecChanges takes them from there.
  if (annexB_ && sequenceHeader_.empty()) learn(payloadOf(packet));
  if (!sequenceHeader_.empty()) return true;
  if (!std::exchange(hasWarned_, true)) {
    log_.warning("video frames before the first parameter sets (SPS and PPS) are left out");
  }
  return false;
}

void AvcTrack::writeFrame(qvs::util::ByteWriter& out, const AVPacket& packet, std::int32_t compositionMs) const {
  out.u8((packet.flags & AV_PKT_FLAG_KEY) != 0 ? kKeyAvcFrame : kOtherAvcFrame);
  out.u8(kCodedFrame);
  // Negative times as well: the low 24 bits of a two's complement.
  out.u24(static_cast<std::uint32_t>(compositionMs));
  if (annexB_) {
    writeLengthPrefixed(out, payloadOf(packet));
  } else {
    out.bytes(payloadOf(packet));
  }
}

void AvcTrack::markKeyPicture(AVPacket& packet) {
  const auto isKey = isKeyPicture(payloadOf(packet), lengthSize_);
  packet.flags &= ~AV_PKT_FLAG_KEY;
  if (isKey.value_or(false)) packet.flags |= AV_PKT_FLAG_KEY;
  if (isKey || std::exchange(hasWarnedOfPackets_, true)) return;
  log_.warning("the video has packets without a whole picture, which are recorded as they are");
}

void AvcTrack::setConfiguration(std::span<const std::byte> record) {
  lengthSize_ = nalLengthSize(record);
  qvs::util::ByteWriter out;
  out.u8(kKeyAvcFrame);
  out.u8(kSequenceHeader);
  out.u24(0);
  out.bytes(record);
  sequenceHeader_ = out.take();
}

void AvcTrack::learn(std::span<const std::byte> stream) {
  parameterSets_.collect(splitAnnexB(stream));
  if (parameterSets_.complete()) setConfiguration(parameterSets_.configurationRecord());
}

}  // namespace host
