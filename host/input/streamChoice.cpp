#include "host/input/streamChoice.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <span>
#include <string_view>

#include "host/errors.h"

namespace host {
namespace {

std::span<AVStream* const> streamsOf(const AVFormatContext& input) {
  return std::span(input.streams, input.nb_streams);
}

/// Removes the number of the input from `0:v` and the like. The only input has number 0.
std::string withoutInputNumber(const std::string& map) {
  const std::size_t colon = map.find(':');
  if (colon == std::string::npos || colon == 0) return map;
  const std::string_view first = std::string_view(map).substr(0, colon);
  const auto isDigit = [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; };
  if (!std::all_of(first.begin(), first.end(), isDigit)) return map;
  if (first != "0") throw UsageError(fmt::format("--map {}: there is only one input, number 0", map));
  return map.substr(colon + 1);
}

const AVStream& findStream(AVFormatContext& input, const std::string& map) {
  const std::string specifier = withoutInputNumber(map);
  if (specifier.empty()) throw UsageError("--map needs a stream specifier");  // libav would take any stream
  for (AVStream* const stream : streamsOf(input)) {
    const int match = avformat_match_stream_specifier(&input, stream, specifier.c_str());
    if (match < 0) throw UsageError(fmt::format("--map {}: not a stream specifier", map));
    if (match > 0) return *stream;
  }
  throw UsageError(fmt::format("--map {}: the input has no such stream", map));
}

StreamChoice chooseMapped(AVFormatContext& input, const std::vector<std::string>& maps) {
  StreamChoice choice;
  for (const std::string& map : maps) {
    const AVStream& stream = findStream(input, map);
    const AVMediaType type = stream.codecpar->codec_type;
    if (type != AVMEDIA_TYPE_VIDEO && type != AVMEDIA_TYPE_AUDIO) {
      throw UsageError(fmt::format("--map {}: stream {} is neither video nor audio", map, stream.index));
    }
    int& chosen = type == AVMEDIA_TYPE_VIDEO ? choice.video : choice.audio;
    if (chosen != -1) throw UsageError(fmt::format("--map {}: at most one video and one audio stream", map));
    chosen = stream.index;
  }
  return choice;
}

StreamChoice chooseBest(AVFormatContext& input) {
  StreamChoice choice;
  // The functions of libav return a negative error if there is none.
  choice.video = std::max(av_find_best_stream(&input, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0), -1);
  // A cover picture of music is a video stream of one picture, and would bind the recording to key frames.
  if (choice.video != -1 &&
      (streamsOf(input)[static_cast<std::size_t>(choice.video)]->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) {
    choice.video = -1;
  }
  choice.audio = std::max(av_find_best_stream(&input, AVMEDIA_TYPE_AUDIO, -1, choice.video, nullptr, 0), -1);
  return choice;
}

}  // namespace

StreamChoice chooseStreams(AVFormatContext& input, const std::vector<std::string>& maps) {
  const StreamChoice choice = maps.empty() ? chooseBest(input) : chooseMapped(input, maps);
  if (choice.video == -1 && choice.audio == -1) {
    throw InputError(fmt::format("'{}' has neither video nor audio", input.url));
  }
  return choice;
}

}  // namespace host
