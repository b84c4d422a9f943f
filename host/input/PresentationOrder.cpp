#include "host/input/PresentationOrder.h"

#include <new>

namespace host {

bool isReordered(const AVCodecParameters& codec) {
  return codec.codec_id == AV_CODEC_ID_H264 && codec.video_delay > 0;
}

PresentationOrder::PresentationOrder(const AVCodecParameters& codec)
    : context_(avcodec_alloc_context3(nullptr)),
      parser_(av_parser_init(codec.codec_id)),
      delay_(static_cast<std::size_t>(codec.video_delay)) {
  if (!context_ || !parser_ || avcodec_parameters_to_context(context_.get(), &codec) < 0) throw std::bad_alloc();
  // Each packet is a whole frame, so the parser need not wait for the start of the next one.
  parser_->flags |= PARSER_FLAG_COMPLETE_FRAMES;
}

std::vector<QueuedFrame> PresentationOrder::push(QueuedFrame frame) {
  if (count_ > 0) stepMs_ = frame.times.dtsMs - lastMs_;
  lastMs_ = frame.times.dtsMs;
  held_.insert(pictureOf(*frame.packet));
  ++count_;
  waiting_.push_back({.frame = std::move(frame), .known = false});
  // What a decoder does: it returns one picture for each that it gets, once it has as many as the stream reorders.
  if (held_.size() > delay_) present(lastMs_);
  // No stream reorders that much, so its picture numbers are wrong. Without this the first frame would wait for ever.
  if (waiting_.size() > kMaxWaiting) {
    while (!held_.empty()) present(lastMs_);
  }
  return takeKnown();
}

std::vector<QueuedFrame> PresentationOrder::flush() {
  // No more frames come whose decode times could be taken, so the last distance is continued.
  while (!held_.empty()) present(lastMs_ += stepMs_);
  return takeKnown();
}

PresentationOrder::Picture PresentationOrder::pictureOf(const AVPacket& packet) {
  std::uint8_t* data = nullptr;
  int size = 0;
  av_parser_parse2(parser_.get(), context_.get(), &data, &size, packet.data, packet.size, AV_NOPTS_VALUE,
                   AV_NOPTS_VALUE, 0);
  // An IDR picture restarts the numbers, and all pictures before it are shown before it.
  if (parser_->key_frame == 1 && parser_->output_picture_number == 0) ++sequence_;
  return {{sequence_, parser_->output_picture_number}, count_};
}

void PresentationOrder::present(std::int64_t timeMs) {
  const std::uint64_t number = held_.begin()->second;
  held_.erase(held_.begin());
  // Frames leave `waiting_` in decode order only, so a frame's number gives its place there.
  Waiting& waiting = waiting_[number - firstWaiting_];
  waiting.known = true;
  waiting.frame.times.ptsMs = timeMs;
}

std::vector<QueuedFrame> PresentationOrder::takeKnown() {
  std::vector<QueuedFrame> frames;
  for (; !waiting_.empty() && waiting_.front().known; ++firstWaiting_) {
    frames.push_back(std::move(waiting_.front().frame));
    waiting_.pop_front();
  }
  return frames;
}

}  // namespace host
