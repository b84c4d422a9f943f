#include "host/input/AacTrack.h"

#include <fmt/format.h>

#include <utility>

#include "host/errors.h"
#include "packaging/tagCodec.h"

namespace host {

using namespace ruvo::k2rpkgutil;

namespace {

/// First byte of every message: format 10, and 44 kHz, 16 bits and stereo, which AAC always has there. The
/// configuration has the true values.
constexpr std::uint8_t kAac = 0xAF;

BitstreamFilter makeFilter(const AVStream& stream) {
  AVBSFContext* made = nullptr;
  int error = av_bsf_alloc(av_bsf_get_by_name("aac_adtstoasc"), &made);
  BitstreamFilter filter(made);
  if (error >= 0) error = avcodec_parameters_copy(filter->par_in, stream.codecpar);
  if (error >= 0) {
    filter->time_base_in = stream.time_base;
    error = av_bsf_init(filter.get());
  }
  if (error < 0)
    throw InputError(fmt::format("cannot read the audio of stream {}: {}", stream.index, avErrorText(error)));
  return filter;
}

}  // namespace

AacTrack::AacTrack(const AVStream& stream, Log& log) : stream_(stream), log_(log), filter_(makeFilter(stream)) {
  takeConfiguration(extradataOf(*stream.codecpar));
}

bool AacTrack::prepare(AVPacket& packet) {
  if (payloadOf(packet).empty()) return false;
  takeConfiguration(newExtradataOf(packet));
  // Before the filter, which removes the header.
  followAdts(payloadOf(packet));
  int error = av_bsf_send_packet(filter_.get(), &packet);
  if (error >= 0) error = av_bsf_receive_packet(filter_.get(), &packet);
  // One damaged frame must not end a recording.
  if (error < 0) return refuse("damaged frames are left out");
  takeConfiguration(newExtradataOf(packet));
  if (sequenceHeader_.empty()) return refuse("frames before the first configuration are left out");
  return true;
}

void AacTrack::writeFrame(qvs::util::ByteWriter& out, const AVPacket& packet, std::int32_t) const {
  out.u8(kAac);
  out.u8(kCodedFrame);
  out.bytes(payloadOf(packet));
}

void AacTrack::followAdts(std::span<const std::byte> frame) {
  constexpr std::size_t kHeaderSize = 7;
  if (frame.size() < kHeaderSize) return;
  const auto header = static_cast<std::uint32_t>(qvs::util::loadBigEndian(frame.data(), 4));
  if ((header & 0xFFF60000) != 0xFFF00000) return;
  // Without the bits that may differ from frame to frame: private, originality and copyright.
  const std::uint32_t configuration = header & 0xFDC0;
  // The filter makes the configuration from the first header that it sees, and never again.
  if (adts_ && *adts_ != configuration) filter_ = makeFilter(stream_);
  adts_ = configuration;
}

void AacTrack::takeConfiguration(std::span<const std::byte> configuration) {
  if (configuration.empty()) return;
  qvs::util::ByteWriter out;
  out.u8(kAac);
  out.u8(kSequenceHeader);
  out.bytes(configuration);
  sequenceHeader_ = out.take();
}

bool AacTrack::refuse(const char* reason) {
  if (!std::exchange(hasWarned_, true)) log_.warning(fmt::format("audio: {}", reason));
  return false;
}

}  // namespace host
