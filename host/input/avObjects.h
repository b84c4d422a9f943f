#pragma once

extern "C" {
#include <libavcodec/bsf.h>
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
}

#include <cstddef>
#include <memory>
#include <span>
#include <string>

namespace host {

// Owners of libav's objects, and views of their contents.
struct CloseInput {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};
struct FreePacket {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct FreeFilter {
  void operator()(AVBSFContext* filter) const { av_bsf_free(&filter); }
};
/// One type for each function that libav has for the end of an object, so that no path forgets it.
using FormatContext = std::unique_ptr<AVFormatContext, CloseInput>;
using Packet = std::unique_ptr<AVPacket, FreePacket>;
using BitstreamFilter = std::unique_ptr<AVBSFContext, FreeFilter>;

/// An empty packet. Throws std::bad_alloc.
Packet makePacket();

/// The text of a libav error number. For the user, without the number.
std::string avErrorText(int error);

/// A view of the packet's payload; empty for a packet without one.
inline std::span<const std::byte> payloadOf(const AVPacket& packet) {
  return std::as_bytes(std::span(packet.data, packet.size > 0 ? static_cast<std::size_t>(packet.size) : 0));
}
/// A view of the codec's private data, which belong to the stream.
inline std::span<const std::byte> extradataOf(const AVCodecParameters& codec) {
  return std::as_bytes(
      std::span(codec.extradata, codec.extradata_size > 0 ? static_cast<std::size_t>(codec.extradata_size) : 0));
}
/// A view of the new private data in a packet; empty if it has none. A demuxer adds them to the first packet to which
/// they apply. Valid as long as the packet.
std::span<const std::byte> newExtradataOf(const AVPacket& packet);

}  // namespace host
