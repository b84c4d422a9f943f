#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "host/input/Interleaver.h"
#include "host/input/avObjects.h"

namespace host {

/// Gives the frames of an H.264 track their presentation times where the container stores none, as AVI and elementary
/// streams do. The pictures' order is in the slice headers (ITU-T H.264, 8.2.1). A decoder that holds back as many
/// pictures as the stream reorders puts one out with each that comes in: that one's decode time is when it is
/// presented.
class PresentationOrder {
 public:
  static constexpr std::size_t kMaxWaiting = 64;

  /// Throws std::bad_alloc.
  explicit PresentationOrder(const AVCodecParameters& codec);

  /// Takes the next frame in decode order and answers those whose times are known, in the same order.
  std::vector<QueuedFrame> push(QueuedFrame frame);
  /// Those that still wait: the track has ended.
  std::vector<QueuedFrame> flush();

 private:
  struct FreeParser {
    void operator()(AVCodecParserContext* parser) const { av_parser_close(parser); }
  };
  struct FreeContext {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  };
  struct Waiting {
    QueuedFrame frame;
    bool known = false;
  };
  /// Coded video sequence, place in it, and number of the frame.
  using Picture = std::pair<std::pair<std::uint64_t, int>, std::uint64_t>;

  Picture pictureOf(const AVPacket& packet);
  /// Presents the first picture that is held back.
  void present(std::int64_t timeMs);
  std::vector<QueuedFrame> takeKnown();

  std::unique_ptr<AVCodecContext, FreeContext> context_;
  std::unique_ptr<AVCodecParserContext, FreeParser> parser_;
  std::size_t delay_;
  std::uint64_t sequence_ = 0;
  /// Frames so far, and the number of the first one that waits.
  std::uint64_t count_ = 0;
  std::uint64_t firstWaiting_ = 0;
  std::set<Picture> held_;
  std::deque<Waiting> waiting_;
  std::int64_t lastMs_ = 0;
  std::int64_t stepMs_ = 0;
};

/// Whether a track of this codec has pictures that are not presented in the order of decoding.
bool isReordered(const AVCodecParameters& codec);

}  // namespace host
