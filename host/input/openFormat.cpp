#include "host/input/openFormat.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
}

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <new>
#include <span>
#include <string_view>
#include <system_error>

#include "host/errors.h"
#include "host/input/AvLogRoute.h"
#include "host/input/avcConfig.h"

namespace host {
namespace {

std::string urlOf(const std::string& input) {
  std::error_code ignored;
  return std::filesystem::exists(input, ignored) ? "file:" + input : input;
}

/// Whether the demuxer gives each frame in a packet, with both of its times, so that a parser has nothing to find but
/// the key frames: MP4 and MOV with H.264 and AAC alone.
bool givesWholeFrames(const AVFormatContext& input) {
  if (!std::string_view(input.iformat->name).starts_with("mov,")) return false;
  return std::ranges::all_of(std::span(input.streams, input.nb_streams), [](const AVStream* stream) {
    const AVCodecParameters& codec = *stream->codecpar;
    switch (codec.codec_type) {
      case AVMEDIA_TYPE_VIDEO:
        return codec.codec_id == AV_CODEC_ID_H264 && isConfigurationRecord(extradataOf(codec));
      case AVMEDIA_TYPE_AUDIO:
        return codec.codec_id == AV_CODEC_ID_AAC && !extradataOf(codec).empty();
      default:
        return true;
    }
  });
}

/// Owns options for libav.
class AvOptions {
 public:
  explicit AvOptions(const std::vector<std::string>& assignments) {
    for (const std::string& text : assignments) {
      const std::size_t equals = text.find('=');
      if (equals == 0 || equals == std::string::npos) {
        throw UsageError(fmt::format("input option '{}' is not of the form KEY=VALUE", text));
      }
      av_dict_set(&options_, text.substr(0, equals).c_str(), text.substr(equals + 1).c_str(), 0);
    }
  }
  ~AvOptions() { av_dict_free(&options_); }
  AvOptions(const AvOptions&) = delete;
  AvOptions& operator=(const AvOptions&) = delete;

  AVDictionary** get() { return &options_; }
  /// The first option that libav did not take, or null. It is a view of this object.
  const char* left() const {
    const AVDictionaryEntry* const entry = av_dict_get(options_, "", nullptr, AV_DICT_IGNORE_SUFFIX);
    return entry == nullptr ? nullptr : entry->key;
  }

 private:
  AVDictionary* options_ = nullptr;
};

}  // namespace

bool isFromNetwork(const std::string& input) {
  constexpr std::string_view kLocal[] = {"file", "pipe", "data", "concat", "concatf", "subfile", "cache", "crypto"};
  const char* const protocol = avio_find_protocol_name(urlOf(input).c_str());
  return protocol == nullptr || std::find(std::begin(kLocal), std::end(kLocal), protocol) == std::end(kLocal);
}

OpenedFormat openFormat(const std::string& input, const std::vector<std::string>& assignments, InputWatch& watch,
                        const StopSignal& stop) {
  // Before the context is allocated: this may throw, and the context has no owner yet.
  AvOptions options(assignments);
  AVFormatContext* context = avformat_alloc_context();
  if (context == nullptr) throw std::bad_alloc();
  context->interrupt_callback = watch.callback();
  // Frees the context if it fails, and then sets the pointer to null.
  int error = avformat_open_input(&context, urlOf(input).c_str(), nullptr, options.get());
  OpenedFormat opened{.format = FormatContext(context), .at = InputWatch::Clock::now()};
  watch.restart();
  // libavformat ignores options that it does not know. A typing error must not go unnoticed.
  if (error >= 0 && options.left() != nullptr) {
    throw UsageError(fmt::format("input option {}: '{}' has no such option", options.left(), input));
  }
  const AvLogRoute::CodecSilence silence(true);
  // Before the streams are probed, when parsers are made. AvcTrack then finds the key frames itself
  // (docs/decisions.md, "Files that give whole frames are read without parsers").
  if (error >= 0 && givesWholeFrames(*opened.format)) opened.format->flags |= AVFMT_FLAG_NOPARSE;
  if (error >= 0) error = avformat_find_stream_info(opened.format.get(), nullptr);
  if (error < 0) {
    const std::string reason = stop.requested() ? "stopped before it was open" : watch.reasonOf(error);
    throw InputError(fmt::format("cannot open '{}': {}", input, reason));
  }
  return opened;
}

}  // namespace host
