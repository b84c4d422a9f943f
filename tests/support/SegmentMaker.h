#pragma once

#include <deque>
#include <optional>
#include <string>
#include <string_view>

#include "tests/support/MemoryStream.h"
#include "tests/support/statusOf.h"
#include "wrappers/k2m/Writer.h"

namespace test {

/// Writes a segment through the container library, a tag in a line, each in a heap block of its own. Whatever a call
/// throws is the library's status.
///
///     SegmentMaker maker;
///     maker.addAudioTrack().addHintTrack().start();
///     maker.begin().audio(0, 100).audio(23, 101);
///     maker.start();
class SegmentMaker {
 public:
  /// A new segment, made at the start of 2024.
  SegmentMaker() : SegmentMaker(stream) {}
  explicit SegmentMaker(krvo::k2m::IOStream& elsewhere);
  /// An existing one, with its tracks.
  SegmentMaker(krvo::k2m::IOStream& elsewhere, std::uint64_t position);
  SegmentMaker(const SegmentMaker&) = delete;
  SegmentMaker& operator=(const SegmentMaker&) = delete;

  /// 320 x 240, `H264` with eight bytes of `avcC` unless set otherwise.
  SegmentMaker& addVideoTrack(std::string_view formatCode = "H264", std::string_view codecHeader = kAvcC);
  /// 44100 Hz, two channels, `mp4a` with no codec header.
  SegmentMaker& addAudioTrack();
  SegmentMaker& addDataTrack();
  /// Refers to the tracks added so far.
  SegmentMaker& addHintTrack();

  /// Writes the open fragment and returns where the next one begins.
  std::uint64_t start() { return writer().startFragment(); }
  SegmentMaker& begin(std::string_view abst = "bootstrap");
  /// A tag with `size` bytes of media in it.
  SegmentMaker& video(std::uint64_t time, bool keyFrame, std::uint32_t size, std::int32_t compositionTime = 0);
  SegmentMaker& audio(std::uint64_t time, std::uint32_t size, bool randomAccess = false) {
    return add(&audio_, 8, time, "\xAF\x01", size, false, randomAccess);
  }
  SegmentMaker& data(std::uint64_t time, std::uint32_t size) { return add(&data_, 18, time, "", size, false, false); }
  /// A video tag that is no media sample, with an entry in the `afra`.
  SegmentMaker& sequenceHeader(std::uint64_t time) {
    return add(nullptr, 9, time, std::string_view("\x17\0\0\0\0", 5), 3, true, true);
  }
  /// Ends the file.
  void end() { writer_.reset(); }

  krvo::k2m::K2RWriter& writer() { return *writer_; }
  const krvo::k2m::Track& videoTrack() const { return video_; }
  const krvo::k2m::Track& audioTrack() const { return audio_; }
  const krvo::k2m::Track& hintTrack() const { return hint_; }

  /// Tags that were handed over, by failed calls too, and that the library has not given back, or more than once.
  std::size_t heldTags() const;

  static constexpr std::string_view kAvcC{
      "\0\0\0\x08"
      "avcC",
      8};

  /// Where a new segment goes.
  MemoryStream stream;

 private:
  struct Block {
    std::vector<std::byte> bytes;
    int released = 0;
  };

  /// Hands over a tag of a track; without one, as an entry of the `afra` alone.
  SegmentMaker& add(const krvo::k2m::Track* track, std::uint8_t type, std::uint64_t time, std::string_view codecFields,
                    std::uint32_t size, bool sync, bool randomAccess);

  krvo::k2m::Allocator allocator_;
  std::deque<Block> blocks_;
  std::optional<krvo::k2m::K2RWriter> writer_;
  krvo::k2m::Track video_, audio_, data_, hint_;
  std::string abst_;
};

/// A record with the size and time fields that the library asks for.
K2MDocInfo documentInfo();
K2MTrackInfo trackInfo(std::uint32_t handlerType);

}  // namespace test
