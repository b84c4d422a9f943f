#include "host/serve/media/keyFrameJpeg.h"

#include <fmt/format.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/mem.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "host/input/avObjects.h"

namespace host::serve {
namespace {

struct FreeContext {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FreeFrame {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using CodecContext = std::unique_ptr<AVCodecContext, FreeContext>;
using Frame = std::unique_ptr<AVFrame, FreeFrame>;

constexpr std::int64_t kMostPixels = std::int64_t{8192} * 4320;

template <typename Object>
Object orBadAlloc(Object object) {
  if (!object) throw std::bad_alloc();
  return object;
}

void check(int error, const char* what) {
  if (error == AVERROR(ENOMEM)) throw std::bad_alloc();
  if (error < 0) throw PictureError(fmt::format("the picture cannot be {}: {}", what, avErrorText(error)));
}

Frame makeFrame() {
  return orBadAlloc(Frame(av_frame_alloc()));
}

CodecContext makeContext(const AVCodec* codec) {
  if (codec == nullptr) throw PictureError("this libavcodec lacks AVC or JPEG");
  CodecContext context = orBadAlloc(CodecContext(avcodec_alloc_context3(codec)));
  context->thread_count = 1;
  // A damaged picture costs many lines of the log otherwise. The exception says enough.
  context->log_level_offset = AV_LOG_TRACE;
  return context;
}

Frame decode(std::span<const std::byte> configuration, std::span<const std::byte> sample) {
  const AVCodec* const codec = avcodec_find_decoder(AV_CODEC_ID_H264);
  const CodecContext decoder = makeContext(codec);
  decoder->max_pixels = kMostPixels;
  // A recovery point is a key frame, too, although the decoder does not count it as one.
  decoder->flags |= AV_CODEC_FLAG_OUTPUT_CORRUPT;
  decoder->extradata =
      orBadAlloc(static_cast<std::uint8_t*>(av_mallocz(configuration.size() + AV_INPUT_BUFFER_PADDING_SIZE)));
  std::memcpy(decoder->extradata, configuration.data(), configuration.size());
  decoder->extradata_size = static_cast<int>(configuration.size());
  check(avcodec_open2(decoder.get(), codec, nullptr), "decoded");
  const Packet packet = makePacket();
  check(av_new_packet(packet.get(), static_cast<int>(sample.size())), "decoded");
  std::memcpy(packet->data, sample.data(), sample.size());
  packet->flags |= AV_PKT_FLAG_KEY;
  check(avcodec_send_packet(decoder.get(), packet.get()), "decoded");
  // The end of the stream, or the decoder would wait for pictures that are presented before this one.
  check(avcodec_send_packet(decoder.get(), nullptr), "decoded");
  Frame frame = makeFrame();
  check(avcodec_receive_frame(decoder.get(), frame.get()), "decoded");
  return frame;
}

/// The format for JPEG with the same planes.
AVPixelFormat jpegFormat(const AVPixFmtDescriptor& format, AVPixelFormat name) {
  const bool isPlanar = (format.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_BE | AV_PIX_FMT_FLAG_HWACCEL)) == 0 &&
                        (format.nb_components == 1 || (format.flags & AV_PIX_FMT_FLAG_PLANAR) != 0);
  const int depth = format.comp[0].depth;
  if (isPlanar && depth >= 8 && depth <= 14) {
    if (format.nb_components == 1) return AV_PIX_FMT_YUVJ420P;
    if (format.nb_components == 3 && format.log2_chroma_h == 1) return AV_PIX_FMT_YUVJ420P;
    if (format.nb_components == 3 && format.log2_chroma_w == 1) return AV_PIX_FMT_YUVJ422P;
    if (format.nb_components == 3) return AV_PIX_FMT_YUVJ444P;
  }
  const char* const text = av_get_pix_fmt_name(name);
  throw PictureError(
      fmt::format("the picture has the format {}, which a snapshot cannot have", text != nullptr ? text : "unknown"));
}

/// What each value of a plane becomes: 0 to 255, of which video mostly uses a part only (ITU-R BT.601, 2.5.3).
std::vector<std::uint8_t> rangeTable(int depth, bool fullRange, bool isChroma) {
  const int unit = 1 << (depth - 8);
  std::vector<std::uint8_t> table(std::size_t{1} << depth);
  for (std::size_t i = 0; i < table.size(); ++i) {
    const int value = static_cast<int>(i);
    int scaled = value / unit;
    if (!fullRange && isChroma) scaled = 128 + (value - 128 * unit) * 255 / (224 * unit);
    if (!fullRange && !isChroma) scaled = (value - 16 * unit) * 255 / (219 * unit);
    table[i] = static_cast<std::uint8_t>(std::clamp(scaled, 0, 255));
  }
  return table;
}

/// Converts one plane. `width` and `height` in samples.
void convertPlane(const AVFrame& from, AVFrame& to, int plane, int width, int height,
                  const std::vector<std::uint8_t>& table) {
  const bool isWide = table.size() > 256;
  for (int y = 0; y < height; ++y) {
    const std::uint8_t* const in = from.data[plane] + std::ptrdiff_t{from.linesize[plane]} * y;
    std::uint8_t* const out = to.data[plane] + std::ptrdiff_t{to.linesize[plane]} * y;
    for (std::ptrdiff_t x = 0; x < width; ++x) {
      // Little-endian, as jpegFormat() has checked. A damaged value may have more bits than its format.
      const std::size_t value = isWide ? static_cast<std::size_t>(in[2 * x] | in[2 * x + 1] << 8) : in[x];
      out[x] = table[std::min(value, table.size() - 1)];
    }
  }
}

Frame convert(const AVFrame& picture) {
  const auto name = static_cast<AVPixelFormat>(picture.format);
  const AVPixFmtDescriptor* const format = av_pix_fmt_desc_get(name);
  if (format == nullptr) throw PictureError("the picture has an unknown format");
  Frame frame = makeFrame();
  frame->format = jpegFormat(*format, name);
  frame->width = picture.width;
  frame->height = picture.height;
  frame->color_range = AVCOL_RANGE_JPEG;
  check(av_frame_get_buffer(frame.get(), 0), "converted");
  const AVPixFmtDescriptor& target = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame->format));
  const bool fullRange = picture.color_range == AVCOL_RANGE_JPEG || name == AV_PIX_FMT_YUVJ420P ||
                         name == AV_PIX_FMT_YUVJ422P || name == AV_PIX_FMT_YUVJ444P;
  for (int plane = 0; plane < 3; ++plane) {
    const bool isChroma = plane > 0;
    const int width = isChroma ? AV_CEIL_RSHIFT(frame->width, target.log2_chroma_w) : frame->width;
    const int height = isChroma ? AV_CEIL_RSHIFT(frame->height, target.log2_chroma_h) : frame->height;
    if (plane < format->nb_components) {
      convertPlane(picture, *frame, plane, width, height, rangeTable(format->comp[0].depth, fullRange, isChroma));
    } else {
      // Monochrome: no colour.
      std::memset(frame->data[plane], 128,
                  static_cast<std::size_t>(frame->linesize[plane]) * static_cast<std::size_t>(height));
    }
  }
  return frame;
}

std::vector<std::byte> encode(AVFrame& frame) {
  // Of the encoder's scale from 1, best, to 31: hardly distinguishable from the picture.
  constexpr int kQuality = 3;
  const AVCodec* const codec = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
  const CodecContext encoder = makeContext(codec);
  encoder->width = frame.width;
  encoder->height = frame.height;
  encoder->pix_fmt = static_cast<AVPixelFormat>(frame.format);
  encoder->color_range = AVCOL_RANGE_JPEG;
  encoder->time_base = {1, 1};
  encoder->flags |= AV_CODEC_FLAG_QSCALE;
  encoder->global_quality = FF_QP2LAMBDA * kQuality;
  frame.quality = encoder->global_quality;
  frame.pts = 0;
  check(avcodec_open2(encoder.get(), codec, nullptr), "coded");
  check(avcodec_send_frame(encoder.get(), &frame), "coded");
  check(avcodec_send_frame(encoder.get(), nullptr), "coded");
  const Packet packet = makePacket();
  check(avcodec_receive_packet(encoder.get(), packet.get()), "coded");
  const auto bytes = payloadOf(*packet);
  return {bytes.begin(), bytes.end()};
}

}  // namespace

std::vector<std::byte> keyFrameJpeg(std::span<const std::byte> configuration, std::span<const std::byte> sample) {
  return encode(*convert(*decode(configuration, sample)));
}

}  // namespace host::serve
