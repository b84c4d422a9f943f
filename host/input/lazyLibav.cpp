// The functions of libav that this program calls. Each one defined here loads its library with the first call and
// passes everything on. libavformat brings 130 other libraries, which take 45 ms and 22 MB, and most commands need none
// of them (docs/decisions.md, "libav is loaded by the first call").

#include <dlfcn.h>
#include <fmt/format.h>

#include <cstddef>
#include <string>
#include <tuple>

#include "host/errors.h"

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

/// The libraries, with the versions for which the program is compiled. They stay loaded until the process ends.
struct Libraries {
  void* format = load("libavformat.so." AV_STRINGIFY(LIBAVFORMAT_VERSION_MAJOR));
  void* codec = load("libavcodec.so." AV_STRINGIFY(LIBAVCODEC_VERSION_MAJOR));
  void* util = load("libavutil.so." AV_STRINGIFY(LIBAVUTIL_VERSION_MAJOR));

  /// Throws CommandError.
  static void* load(const char* name) {
    // Bound lazily, as in a program that links them: a command calls few of their functions.
    void* const library = ::dlopen(name, RTLD_LAZY | RTLD_LOCAL);
    if (library == nullptr) throw CommandError(fmt::format("media cannot be read or written: {}", ::dlerror()));
    return library;
  }
};

/// Loads all of them with the first call. Later calls cannot fail: destructors make some.
const Libraries& libraries() {
  static const Libraries loaded;
  return loaded;
}

template <typename Function>
Function* findFunction(void* library, const char* name) {
  void* const address = ::dlsym(library, name);
  if (address == nullptr) throw CommandError(fmt::format("media cannot be read or written: {}", ::dlerror()));
  return reinterpret_cast<Function*>(address);
}

template <typename Function>
struct Signature;
template <typename R, typename... Arguments>
struct Signature<R(Arguments...)> {
  using Result = R;
  template <std::size_t kIndex>
  using Argument = std::tuple_element_t<kIndex, std::tuple<Arguments...>>;
};

}  // namespace
}  // namespace host

// Some functions are declared with attributes, which do not belong to a type. No harm: only callers need them.
#pragma GCC diagnostic ignored "-Wignored-attributes"

// The header of each library declares its functions, so the compiler checks what is defined here.
#define RESULT(name) host::Signature<decltype(name)>::Result
#define ARGUMENT(name, index) host::Signature<decltype(name)>::Argument<index>
#define PASS_ON(library, name, ...)                                                                   \
  static auto* const function = host::findFunction<decltype(name)>(host::libraries().library, #name); \
  return function(__VA_ARGS__);
#define LAZY_0(library, name) \
  RESULT(name) name() {       \
    PASS_ON(library, name)    \
  }
#define LAZY_1(library, name)              \
  RESULT(name) name(ARGUMENT(name, 0) a) { \
    PASS_ON(library, name, a)              \
  }
#define LAZY_2(library, name)                                   \
  RESULT(name) name(ARGUMENT(name, 0) a, ARGUMENT(name, 1) b) { \
    PASS_ON(library, name, a, b)                                \
  }
#define LAZY_3(library, name)                                                        \
  RESULT(name) name(ARGUMENT(name, 0) a, ARGUMENT(name, 1) b, ARGUMENT(name, 2) c) { \
    PASS_ON(library, name, a, b, c)                                                  \
  }
#define LAZY_4(library, name)                                                                             \
  RESULT(name) name(ARGUMENT(name, 0) a, ARGUMENT(name, 1) b, ARGUMENT(name, 2) c, ARGUMENT(name, 3) d) { \
    PASS_ON(library, name, a, b, c, d)                                                                    \
  }

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
