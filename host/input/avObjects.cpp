#include "host/input/avObjects.h"

extern "C" {
#include <libavutil/error.h>
}

#include <new>

namespace host {

Packet makePacket() {
  Packet packet(av_packet_alloc());
  if (!packet) throw std::bad_alloc();
  return packet;
}

std::string avErrorText(int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof text);
  return text;
}

std::span<const std::byte> newExtradataOf(const AVPacket& packet) {
  std::size_t size = 0;
  const std::uint8_t* const data = av_packet_get_side_data(&packet, AV_PKT_DATA_NEW_EXTRADATA, &size);
  return std::as_bytes(std::span(data, data == nullptr ? 0 : size));
}

}  // namespace host
