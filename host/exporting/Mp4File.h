#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "host/exporting/TagSink.h"
#include "host/input/avObjects.h"

namespace host {

/// A plain MP4 file with the frames as they were recorded, decode and presentation times included. It has AVC, AAC and
/// MP3; script data stays out.
class Mp4File final : public TagSink {
 public:
  /// Makes the file at `path`. Throws CommandError where it cannot be made, and for a track that MP4 cannot hold, by
  /// its name.
  Mp4File(const std::string& path, const krvo::container::Movie& movie);

  /// Throws CommandError, too, for a configuration that is not the one that the track began with.
  void add(const RecordedTag& tag) override;
  void finish() override;

 private:
  struct CloseOutput {
    void operator()(AVFormatContext* context) const;
  };
  /// A stream of the file, and where its time has got to.
  struct Output {
    AVStream* stream = nullptr;
    bool isVideo = false;
    /// In units of its time base; of the next packet by its duration.
    std::optional<std::int64_t> lastTime;
    std::int64_t nextTime = 0;
    std::int64_t samplesAFrame = 0;
    /// The last picture, whose duration is not known yet.
    Packet held;
  };

  /// A tag that waits until the rate of the audio is known.
  struct Waiting {
    TagContent content;
    std::vector<std::byte> data;
  };

  void addStream(const krvo::container::Track& track);
  Output* outputFor(const TagContent& tag);
  void setConfiguration(Output& output, const RecordedTag& tag);
  /// True where the tag has to wait.
  bool waitsForRate(const Output& output, const RecordedTag& tag);
  void setAudioRate(int sampleRate);
  void start();
  void write(Output& output, const RecordedTag& tag);
  /// Gives the held packet to the muxer.
  void send(Output& output, std::int64_t duration);
  std::int64_t decodeTime(Output& output, std::uint64_t timeMs) const;

  std::string path_;
  std::unique_ptr<AVFormatContext, CloseOutput> context_;
  Output video_;
  Output audio_;
  std::vector<Waiting> waiting_;
  bool started_ = false;
  std::optional<std::uint32_t> firstTime_;
};

}  // namespace host
