#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "host/input/Interleaver.h"
#include "host/input/avObjects.h"

namespace host {

/// Gives the frames of an H.264 track their presentation times if the container stores none, as in AVI files and
/// elementary streams. The order of the pictures is in the slice headers (ITU-T H.264, 8.2.1). A decoder that holds
/// back as many pictures as the stream reorders returns one picture for each that it gets; the decode time of the
/// incoming one is the presentation time of the outgoing one.
class PresentationOrder {
 public:
  /// Limit of the frames that wait, for streams with wrong picture numbers.
  static constexpr std::size_t kMaxWaiting = 64;

  /// `codec` is used during the call only. Throws std::bad_alloc.
  explicit PresentationOrder(const AVCodecParameters& codec);

  /// Takes the next frame in decode order. Returns the frames whose times are known now, in decode order.
  std::vector<QueuedFrame> push(QueuedFrame frame);
  /// Returns the frames that still wait. Call it at the end of the track.
  std::vector<QueuedFrame> flush();

 private:
  struct FreeParser {
    void operator()(AVCodecParserContext* parser) const { av_parser_close(parser); }
  };
  struct FreeContext {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  };
  /// A frame, and whether its presentation time is known.
  struct Waiting {
    QueuedFrame frame;
    bool known = false;
  };
  /// Number of the coded video sequence, picture number in it, and number of the frame in decode order. Sorts by
  /// presentation.
  using Picture = std::pair<std::pair<std::uint64_t, int>, std::uint64_t>;

  /// Reads the picture number from the slice header.
  Picture pictureOf(const AVPacket& packet);
  /// Gives the first picture of `held_` its presentation time.
  void present(std::int64_t timeMs);
  /// Takes the frames at the front of `waiting_` whose times are known.
  std::vector<QueuedFrame> takeKnown();

  std::unique_ptr<AVCodecContext, FreeContext> context_;
  std::unique_ptr<AVCodecParserContext, FreeParser> parser_;
  /// How many pictures a decoder holds back.
  std::size_t delay_;
  std::uint64_t sequence_ = 0;
  /// Number of frames so far, and number of the first one in `waiting_`.
  std::uint64_t count_ = 0;
  std::uint64_t firstWaiting_ = 0;
  /// Pictures without a presentation time.
  std::set<Picture> held_;
  /// Frames in decode order that cannot be returned yet.
  std::deque<Waiting> waiting_;
  /// The last decode time, and the distance between the last two.
  std::int64_t lastMs_ = 0;
  std::int64_t stepMs_ = 0;
};

/// Whether the track has pictures whose presentation order is not their decode order, and is of a codec whose order can
/// be read.
bool isReordered(const AVCodecParameters& codec);

}  // namespace host
