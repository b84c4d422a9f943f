#include "host/input/AacTrack.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "host/errors.h"

namespace host {
namespace {

constexpr std::uint8_t kAac = 0xAF;
constexpr std::uint8_t kSequenceHeader = 0;
constexpr std::uint8_t kFrame = 1;

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

AacTrack::AacTrack(const AVStream& stream, Log& log) : log_(log), filter_(makeFilter(stream)) {
  takeConfiguration(extradataOf(*stream.codecpar));
}

bool AacTrack::prepare(AVPacket& packet) {
  if (payloadOf(packet).empty()) return false;
  takeConfiguration(newExtradataOf(packet));
  int error = av_bsf_send_packet(filter_.get(), &packet);
  if (error >= 0) error = av_bsf_receive_packet(filter_.get(), &packet);
  if (error < 0) return refuse("damaged frames are left out");
  takeConfiguration(newExtradataOf(packet));
  if (sequenceHeader_.empty()) return refuse("frames ahead of the first configuration are left out");
  return true;
}

void AacTrack::writeFrame(qvs::util::ByteWriter& out, const AVPacket& packet, std::int32_t) const {
  out.u8(kAac);
  out.u8(kFrame);
  out.bytes(payloadOf(packet));
}

void AacTrack::takeConfiguration(std::span<const std::byte> configuration) {
  if (configuration.empty()) return;
  qvs::util::ByteWriter out;
  out.u8(kAac);
  out.u8(kSequenceHeader);
  out.bytes(configuration);
  const auto header = out.bytes();
  if (sequenceHeader_.empty()) {
    sequenceHeader_ = out.take();
  } else if (!std::equal(header.begin(), header.end(), sequenceHeader_.begin(), sequenceHeader_.end()) &&
             !std::exchange(warnedOfChange_, true)) {
    log_.warning("the audio's configuration changes on the way; the recording keeps the one that it began with");
  }
}

bool AacTrack::refuse(const char* reason) {
  if (!std::exchange(warnedOfRefusal_, true)) log_.warning(fmt::format("audio: {}", reason));
  return false;
}

}  // namespace host
