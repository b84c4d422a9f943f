#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "host/exporting/TagSink.h"
#include "host/exporting/TrackClock.h"
#include "host/input/avObjects.h"

namespace host {

/// A plain MP4 file with the recorded frames and their decode and presentation times. It has AVC, AAC and MP3; script
/// data are left out. If the audio does not say its sample rate before its first frame, video tags wait in memory until
/// then. The `moov` is written at the end, so the file needs a place that can be sought. Belongs to one thread.
class Mp4File final : public TagSink {
 public:
  /// Makes the file at `path`; an existing one is overwritten. Throws CommandError if it cannot be made, and for a
  /// track whose codec MP4 cannot have, naming the codec. `movie` is used during the call only.
  Mp4File(const std::string& path, const krvo::container::Movie& movie);

  /// As TagSink::add(). Also throws CommandError if a configuration changes after the first frame.
  void add(const RecordedTag& tag) override;
  /// Writes the last frame and the `moov`, and closes the file.
  void finish() override;

 private:
  /// Closes the file, also of an export that failed.
  struct CloseOutput {
    void operator()(AVFormatContext* context) const;
  };
  /// A stream of the file, and how far it is written.
  struct Output {
    AVStream* stream = nullptr;
    bool isVideo = false;
    /// Units of the time base that the track has here: 1/90000 s for video, 1/rate for audio.
    TrackClock clock;
    /// Duration of the last picture if it is like the one before.
    std::int64_t pictureDuration = 0;
    /// The last picture, whose duration is known when the next one comes.
    Packet held;
  };

  /// A video tag that waits until the sample rate of the audio is known. Owns its data.
  struct Waiting {
    TagContent content;
    std::vector<std::byte> data;
  };

  /// Adds an output for a track of the recording.
  void addStream(const krvo::container::Track& track);
  /// The output to which the tag belongs, or null.
  Output* outputFor(const TagContent& tag);
  /// Takes a sequence header.
  void setConfiguration(Output& output, const RecordedTag& tag);
  /// Whether the tag was put into `waiting_`.
  bool waitsForRate(const Output& output, const RecordedTag& tag);
  /// In Hz. Throws CommandError for a rate that is not above 0.
  void setAudioRate(int sampleRate);
  /// Writes the header of the file and the tags that waited. Does nothing if it was called before. From here on the
  /// configurations of the tracks are fixed.
  void start();
  /// Writes one frame.
  void write(Output& output, const RecordedTag& tag);
  /// Passes the held packet to the muxer; `duration` in units of the track's time base here.
  void send(Output& output, std::int64_t duration);
  std::string path_;
  std::unique_ptr<AVFormatContext, CloseOutput> context_;
  Output video_;
  Output audio_;
  std::vector<Waiting> waiting_;
  /// Whether the header is written.
  bool started_ = false;
  /// Timestamp in ms of the first tag that is written.
  std::optional<std::uint32_t> firstTimestampMs_;
};

}  // namespace host
