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

/// Writes one segment file: puts the messages of finished fragments in order onto their tracks, and codec
/// configurations in front of key frames. Never looks into a sample; that is the policy's.
///
/// Lives as long as the segment is written, and ends the file when it goes. While it lives one fragment is always open
/// behind the last one written, and the tracks do not change. Belongs to the thread that records its stream. The policy
/// and the stream outlive it.
///
/// Every operation passes on krvo::k2m::Exception and what the policy throws. After a failed writeFragment() the
/// fragment stays open; the next call begins it anew, so that the same messages may be offered again.
class K2RMediaWriter final : public IMediaWriter, public IMediaProperties {
 public:
  /// A new segment with the first video, audio and data track of `properties`. Throws QVSException where there is none
  /// of them.
  K2RMediaWriter(IK2RMediaWriterPolicy& policy, IMediaProperties& properties, krvo::k2m::IOStream& stream);
  /// An existing segment, continued behind the fragment that begins at `position`. Its tracks are read back, and are
  /// what getTracks() answers. Throws QVSException where it has no hint track. `warnings` outlives the writer.
  K2RMediaWriter(IK2RMediaWriterPolicy& policy, krvo::k2m::IOStream& stream, std::uint64_t position,
                 krvo::k2m::WarningHandler& warnings);
  K2RMediaWriter(const K2RMediaWriter&) = delete;
  K2RMediaWriter& operator=(const K2RMediaWriter&) = delete;

  FragmentPosition writeFragment(std::span<const NQMessage> messages, std::uint32_t limit,
                                 std::span<const std::byte> bootstrap) override;
  void flush() override;

  DocumentProperties getDocumentProperties() override { return documentProperties_; }
  ITrackIterator* getTracks() override;

 private:
  using Track = krvo::k2m::Track;

  void addTracks(ITrackIterator& tracks);
  /// Null for a track that is passed over.
  Track addMediaTrack(const K2RTrack& track);
  void addHintTrack(std::span<const Track> mediaTracks);
  void takeTracks();
  std::shared_ptr<K2RTrack> readTrack(const Track& track, const std::vector<krvo::k2m::SampleDescriptor>& descriptors);
  std::shared_ptr<K2RSampleDescriptor> readDescriptor(const krvo::k2m::SampleDescriptor& descriptor);
  /// The field that keeps the track of this handler type; null for a type that is not kept.
  Track* trackSlot(FourCC handlerType);

  void writeMessages(std::span<const NQMessage> messages, std::uint32_t limit);
  void writeConfigs(std::uint32_t time, std::uint32_t timestamp);
  void writeAudio(const NQMessage& message, std::uint32_t timestamp);
  bool audioConfigDue(std::uint32_t time);

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
  /// Of the open fragment.
  std::uint64_t fragmentPosition_ = 0;
  /// Milliseconds. Without video the configuration is due again once a message is a second past it.
  std::uint32_t nextAudioConfigTime_ = 0;
};

}  // namespace ruvo::k2rpkgutil
