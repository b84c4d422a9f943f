#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "packaging/IK2RMediaWriterPolicy.h"
#include "packaging/IMediaWriter.h"
#include "packaging/MediaProperties.h"
#include "packaging/NQMessage.h"
#include "wrappers/k2m/IOStream.h"
#include "wrappers/k2m/Writer.h"

namespace ruvo::k2rpkgutil {

/// Writes one segment file: sorts the messages of finished fragments onto their tracks and puts codec configurations
/// before key frames. It never looks into a sample and does not know whether the recording is protected; that is the
/// policy's part.
///
/// Lives as long as its segment is being written. Its destructor ends the file; the policy and the stream must outlive
/// it. At any moment one fragment is open after the last one written, and the tracks do not change. Belongs to the
/// thread that records its stream.
///
/// Every operation passes on krvo::k2m::Exception and what the policy throws. After a failed writeFragment() the
/// fragment stays open, and the next call writes it from its start, so that the same messages may be given again.
class K2RMediaWriter final : public IMediaWriter, public IMediaProperties {
 public:
  /// Begins a new segment with the first video, audio and data track of `properties`, which is read only here. Throws
  /// QVSException if there is no such track; the file is then not a segment yet.
  K2RMediaWriter(IK2RMediaWriterPolicy& policy, IMediaProperties& properties, krvo::k2m::IOStream& stream);
  /// Continues an existing segment after the fragment whose first byte is at offset `position`. Its tracks are read
  /// back, and getTracks() returns them. `warnings` receives a line for each box that was passed over, and outlives the
  /// writer. Throws QVSException if the segment has no hint track.
  K2RMediaWriter(IK2RMediaWriterPolicy& policy, krvo::k2m::IOStream& stream, std::uint64_t position,
                 krvo::k2m::WarningHandler& warnings);
  K2RMediaWriter(const K2RMediaWriter&) = delete;
  K2RMediaWriter& operator=(const K2RMediaWriter&) = delete;

  FragmentPosition writeFragment(std::span<const NQMessage> messages, std::uint32_t limit,
                                 std::span<const std::byte> bootstrap) override;
  void flush() override;

  DocumentProperties getDocumentProperties() override { return documentProperties_; }
  /// The tracks of a continued segment; none for a new one, whose tracks the caller already knows.
  ITrackIterator* getTracks() override;

 private:
  using Track = krvo::k2m::Track;

  void addTracks(ITrackIterator& tracks);
  /// Returns null for a track that is passed over: a second one of its kind, or one of another kind.
  Track addMediaTrack(const K2RTrack& track);
  void addHintTrack(std::span<const Track> mediaTracks);
  /// Reads back the tracks of an existing segment.
  void takeTracks();
  std::shared_ptr<K2RTrack> readTrack(const Track& track, const std::vector<krvo::k2m::SampleDescriptor>& descriptors);
  /// Returns null for the description of a hint track, which no policy knows.
  std::shared_ptr<K2RSampleDescriptor> readDescriptor(const krvo::k2m::SampleDescriptor& descriptor);
  /// The member that stores the track of this handler type; null for a type that is not stored.
  Track* trackSlot(FourCC handlerType);

  /// Passes on the messages below `limit`, each to its track, with configurations before them where they are due.
  void writeMessages(std::span<const NQMessage> messages, std::uint32_t limit);
  /// The configurations before a key frame, with its two clocks.
  void writeConfigs(std::uint32_t time, std::uint32_t timestamp);
  void writeAudio(const NQMessage& message, std::uint32_t timestamp);
  /// Whether a message at `time` (ms) is to have the configuration before it; if so, counts it as repeated.
  bool takeAudioConfigTurn(std::uint32_t timeMs);

  IK2RMediaWriterPolicy& policy_;
  DocumentProperties documentProperties_;
  krvo::k2m::Allocator allocator_;
  krvo::k2m::K2RWriter writer_;
  Track videoTrack_;
  Track audioTrack_;
  Track dataTrack_;
  Track hintTrack_;
  /// Those of an existing segment; empty for a new one.
  std::vector<std::shared_ptr<K2RTrack>> tracks_;
  /// Offset of the open fragment's first byte in the file.
  std::uint64_t fragmentPosition_ = 0;
  /// Milliseconds. Without video, the configuration is due again for a message at least a second later than this.
  std::uint32_t nextAudioConfigTimeMs_ = 0;
};

}  // namespace ruvo::k2rpkgutil
