// The functions of libav that this program calls. Each one defined here loads its library with the first call and
// passes everything on. libavformat brings 130 other libraries, which take 45 ms and 22 MB, and most commands need none
// of them (docs/decisions.md, "libav and libmicrohttpd are loaded by the first call").

#include "host/lazyLibrary.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/log.h>
#include <libavutil/mathematics.h>
#include <libavutil/pixdesc.h>
}

namespace host {
namespace {

/// The libraries, with the versions for which the program is compiled.
struct Libraries {
  void* format = loadLibrary("libavformat.so." AV_STRINGIFY(LIBAVFORMAT_VERSION_MAJOR));
  void* codec = loadLibrary("libavcodec.so." AV_STRINGIFY(LIBAVCODEC_VERSION_MAJOR));
  void* util = loadLibrary("libavutil.so." AV_STRINGIFY(LIBAVUTIL_VERSION_MAJOR));
};

/// Loads all of them with the first call. Later calls cannot fail: destructors make some.
const Libraries& libraries() {
  static const Libraries loaded;
  return loaded;
}

void* format() {
  return libraries().format;
}
void* codec() {
  return libraries().codec;
}
void* util() {
  return libraries().util;
}

}  // namespace
}  // namespace host

extern "C" {

LAZY_2(codec, av_bsf_alloc)
LAZY_1(codec, av_bsf_free)
LAZY_1(codec, av_bsf_get_by_name)
LAZY_1(codec, av_bsf_init)
LAZY_2(codec, av_bsf_receive_packet)
LAZY_2(codec, av_bsf_send_packet)
LAZY_2(codec, av_new_packet)
LAZY_0(codec, av_packet_alloc)
LAZY_1(codec, av_packet_free)
LAZY_3(codec, av_packet_get_side_data)
LAZY_3(codec, av_packet_rescale_ts)
LAZY_1(codec, av_parser_close)
LAZY_1(codec, av_parser_init)
LAZY_1(codec, avcodec_alloc_context3)
LAZY_1(codec, avcodec_find_decoder)
LAZY_1(codec, avcodec_find_encoder)
LAZY_1(codec, avcodec_free_context)
LAZY_1(codec, avcodec_get_name)
LAZY_3(codec, avcodec_open2)
LAZY_2(codec, avcodec_parameters_copy)
LAZY_2(codec, avcodec_parameters_to_context)
LAZY_2(codec, avcodec_receive_frame)
LAZY_2(codec, avcodec_receive_packet)
LAZY_2(codec, avcodec_send_frame)
LAZY_2(codec, avcodec_send_packet)
LAZY_0(codec, avcodec_version)

LAZY_2(format, av_interleaved_write_frame)
LAZY_2(format, av_read_frame)
LAZY_1(format, av_write_trailer)
LAZY_0(format, avformat_alloc_context)
LAZY_4(format, avformat_alloc_output_context2)
LAZY_1(format, avformat_close_input)
LAZY_2(format, avformat_find_stream_info)
LAZY_1(format, avformat_free_context)
LAZY_3(format, avformat_match_stream_specifier)
LAZY_2(format, avformat_new_stream)
LAZY_4(format, avformat_open_input)
LAZY_0(format, avformat_version)
LAZY_2(format, avformat_write_header)
LAZY_1(format, avio_closep)
LAZY_1(format, avio_find_protocol_name)
LAZY_3(format, avio_open)

LAZY_2(util, av_channel_layout_default)
LAZY_1(util, av_dict_free)
LAZY_4(util, av_dict_get)
LAZY_4(util, av_dict_set)
LAZY_4(util, av_dict_set_int)
LAZY_0(util, av_frame_alloc)
LAZY_1(util, av_frame_free)
LAZY_2(util, av_frame_get_buffer)
LAZY_1(util, av_freep)
LAZY_1(util, av_get_media_type_string)
LAZY_1(util, av_get_pix_fmt_name)
LAZY_1(util, av_log_set_callback)
LAZY_1(util, av_mallocz)
LAZY_1(util, av_pix_fmt_desc_get)
LAZY_4(util, av_rescale_q_rnd)
LAZY_3(util, av_strerror)
LAZY_0(util, avutil_version)

int av_find_best_stream(AVFormatContext* context, AVMediaType type, int wanted, int related, const AVCodec** decoder,
                        int flags) {
  PASS_ON(format, av_find_best_stream, context, type, wanted, related, decoder, flags)
}

int av_parser_parse2(AVCodecParserContext* parser, AVCodecContext* codec, std::uint8_t** out, int* outSize,
                     const std::uint8_t* in, int inSize, std::int64_t pts, std::int64_t dts, std::int64_t position) {
  PASS_ON(codec, av_parser_parse2, parser, codec, out, outSize, in, inSize, pts, dts, position)
}

}  // extern "C"
