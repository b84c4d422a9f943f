#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "fileset/FileNames.h"
#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapBuilder.h"
#include "fragmentation/FragmentationConfig.h"
#include "fragmentation/FragmenterChoice.h"
#include "imo/IMOStreamContext.h"
#include "imo/IMOStreamOpenContext.h"
#include "imo/types.h"
#include "modules/streams/k2r/ISegmenter.h"
#include "modules/streams/k2r/K2RConfig.h"
#include "modules/streams/k2r/K2RIOStream.h"
#include "modules/streams/k2r/K2RMediaProperties.h"
#include "modules/streams/k2r/K2RWarningHandler.h"
#include "modules/streams/k2r/RecordTimes.h"
#include "modules/streams/k2r/StoredFragment.h"
#include "packaging/IPackagerContext.h"
#include "packaging/K2RMediaWriter.h"
#include "packaging/NQMessage.h"
#include "packaging/RefCountedMemoryArena.h"
#include "packaging/RefMessage.h"
#include "shared_nqserver/NQDataValue.h"
#include "util/bytes.h"

namespace qvs::k2r {

/// One stream being recorded: the object behind the handle that the host holds. Owns every piece of the recording's
/// state; the three contexts are the host's and outlive it. The host calls its operations one at a time.
///
/// The order on disk is its one design rule: a fragment's samples, then the index that says where they are, then the
/// bootstrap that says that they exist. The latter two arrive by a temporary file and a durable swap.
class K2RData : public ruvo::k2rpkgutil::IPackagerContext, public ISegmenter {
 public:
  /// Derives the file names from `path`. Touches nothing on disk. Throws boost::bad_lexical_cast for a segment duration
  /// that is no number.
  K2RData(const char* path, const K2RConfig& config, IMOStreamContext* streamContext, IMOStreamOpenContext* openContext,
          IMOFileContext* fileContext);
  /// Writes no file: a stream that ends without stopRecord() stays on disk as its last fragment left it.
  ~K2RData() override;
  K2RData(const K2RData&) = delete;
  K2RData& operator=(const K2RData&) = delete;

  /// Makes the object ready for record(), by the `flags` of the host's open. On false the reason, if there is one, is
  /// in the host's log. A second call does nothing.
  bool initialise(std::uint32_t flags);
  /// Takes one message. False where it is lost, with a line in the log; the stream goes on either way.
  bool record(std::uint8_t type, const std::byte* data, std::uint32_t size, std::uint32_t time);
  /// Finishes the files: takes back what was announced and never written, marks the end, ends the segment. What was
  /// recorded behind the last whole fragment is dropped. Always true.
  bool stopRecord();
  /// Removes the recording's directory. True when it is gone.
  bool erase();
  /// Milliseconds recorded so far, in whole fragments.
  std::uint32_t getDuration() const;
  std::uint8_t getType() const { return streamType_; }
  /// Takes the offset of an "onTimeCoordInfo" command: from the next message on it is added to every time. Other
  /// commands are ignored, and what cannot be decoded is no command.
  void updateMediaContext(std::uint8_t messageType, std::uint32_t time, std::span<const std::byte> data);

  ruvo::k2rpkgutil::IMemoryArena& getArena() override { return messageArena_; }
  void addDuration(std::uint32_t milliseconds) override;
  std::uint32_t segmentNumber() const override { return segmentNumber_; }

 private:
  using RefMessage = ruvo::k2rpkgutil::RefMessage;
  using FragmentDecision = ruvo::k2r::FragmentDecision;
  using FragmentRange = ruvo::k2r::FragmentRange;

  /// What a check of a message comes to.
  enum class Check { kAccept, kSkip, kRefuse };
  /// The bootstrap, and how many entries the index had, before a fragment was announced in them.
  struct BeforeAnnounced {
    ruvo::k2r::BootstrapBuilder bootstrap;
    std::size_t entries = 0;
  };
  /// What a decision has come to.
  struct Outcome {
    /// record() goes on to queue the message.
    bool queue = true;
    /// A fragment was written: milliseconds for addDuration(). Finished when the message is queued.
    std::optional<std::uint32_t> writtenMs = {};
  };

  /// Where an append goes on: the position of the last fragment, and the base time that it tells.
  struct RecordingEnd {
    std::uint64_t position = 0;
    std::optional<std::uint32_t> baseTime;
  };

  /// A writer's policy, and the text of the protection metadata; none in the clear.
  struct PreparedPolicy {
    std::shared_ptr<ruvo::k2rpkgutil::IK2RMediaWriterPolicy> policy;
    std::optional<std::string> metadataText;
  };

  // Opening: k2rDataLifecycle.cpp
  void prepareTimes();
  void readControlFile();
  bool initNew();

  // Continuing a recording: k2rDataAppend.cpp
  bool initAppend();
  void logAppendFailure(const krvo::k2m::Exception& failure);
  bool resumeRecording();
  std::uint32_t lastIndexedFragment() const;
  /// Whether there is video among them.
  bool takeStoredTracks();

  // Where a recording ends, by its files: k2rDataEnd.cpp
  /// Takes the index of the last segment, and brings `bootstrap` in step with it. Throws UnreadableFile where it cannot
  /// be seen what is there.
  RecordingEnd loadIndexes(ruvo::k2r::BootstrapInfo& bootstrap);
  ruvo::k2r::AfraIndex readIndex(std::uint32_t segment) const;
  void passEmptySegments(ruvo::k2r::BootstrapInfo& bootstrap);
  /// Answers the last fragment, where it is whole.
  std::optional<StoredFragment> takeUnannounced(ruvo::k2r::BootstrapInfo& bootstrap);
  std::optional<ruvo::k2r::AfraIndex> readIndexOfNext(std::uint32_t segment) const;
  std::optional<StoredFragment> lastStoredFragment(std::uint32_t segment, const ruvo::k2r::AfraIndex& index) const;
  std::optional<std::uint32_t> storedBaseTime() const;
  /// `stored` is what the last fragment tells; one before it is asked where it tells none.
  void restoreBaseTime(std::optional<std::uint32_t> stored);

  // In the clear or protected: k2rDataProtection.cpp
  bool isProtected() const;
  /// Bytes of data that a message like this one may have.
  std::uint32_t mostDataFor(const RefMessage& message) const;
  void makeWriterPolicy() { takeWriterPolicy(prepareWriterPolicy()); }
  /// Reads the settings and their files; touches nothing of the recording.
  PreparedPolicy prepareWriterPolicy();
  /// Writes the protection file, and makes the policy this recording's.
  void takeWriterPolicy(PreparedPolicy prepared);
  void writeProtectionFile(std::string metadataText);
  /// Opens the last segment as if to continue it, and changes nothing. Throws what `policy` does where the segment is
  /// not for it.
  void checkStoredSegment(ruvo::k2rpkgutil::IK2RMediaWriterPolicy& policy, std::uint64_t position);

  // The record path: k2rData.cpp
  bool recordMessage(RefMessage& message, std::uint8_t type, std::uint32_t time);
  Check check(const RefMessage& message);
  /// Throws QVSException where the numbers that the sample passes over would make the segment's index too large.
  void requireRoomForJump(const ruvo::k2r::SampleInfo& sample) const;
  RecordTimes computeTimes(std::uint32_t time) const;
  RecordTimes liftBackward(RecordTimes times);
  void takeBaseTime(std::uint32_t absolute);
  void writeControlFile(std::uint32_t baseTime);

  // Metadata: k2rDataMetadata.cpp
  Check checkMetadata(const RefMessage& message);
  /// Whether the message is the metadata of this stream, and is taken.
  bool captureMetadata(const RefMessage& message);
  void takePictureSize(const NQDataValue& metadata);

  // Tracks: k2rDataTracks.cpp
  Check checkTrack(const RefMessage& message);
  void addTrackFor(const RefMessage& message, std::shared_ptr<ruvo::k2rpkgutil::K2RSampleDescriptor> descriptor);

  // What a decision does: k2rDataFragments.cpp
  Outcome act(const FragmentDecision& decision);
  std::uint32_t writeFragment(const FragmentRange& range);
  void holdFragment(const FragmentDecision& decision);
  std::uint32_t flushHeldFragment(const FragmentRange& range);
  void startRecording(const FragmentRange& range);
  void startWriter();
  void openSegment();
  void removeStaleIndex();
  void setPictureSize();
  void writeMetaFile();
  void makeSegmentStream(bool append);
  void announce(const FragmentRange& range);
  void takeBackAnnounced();
  void addToBootstrap(const FragmentRange& range);
  /// Writes the announced fragment with what is queued below `limit`. On failure nothing is announced any more, and the
  /// queue is as it was.
  void writeAnnounced(std::uint32_t fragment, std::uint32_t limit);
  /// What follows a fragment that is in the segment: small files, roll-over. Throws only where the index is corrupt.
  void finishFragment(std::uint32_t writtenMs);
  void skipFragment(const FragmentRange& range);
  void insertSafetyGap(std::uint32_t fragment);
  void markSkippedUpTo(std::uint32_t fragment, std::uint64_t start);
  void addIndexEntry(std::uint64_t time, std::uint32_t fragment, std::uint64_t afraOffset);
  void requireKeyFrame() const;
  void dropWritten(std::uint32_t limit);

  // The small files: k2rDataIndex.cpp
  void flushSmallFiles();
  /// False, with a line in the log, where it may be cut short or missing now.
  bool writeSmallFile(const std::string& path, std::span<const std::byte> content);
  /// False where the old one stands.
  bool writeIndexFile();
  void writeBootstrapFile();
  bool replaceFile(const std::string& path, const std::string& temporary, std::span<const std::byte> content);
  bool swapInFile(const std::string& from, const std::string& to);
  void trimIndex();
  void forgetEmptySegment();
  void finishSmallFiles() noexcept;
  /// Whether the index file, though it could not be replaced, has all that the new one would have.
  bool isIndexOnDisk() const;

  std::uint32_t segmentNumber_ = 1;
  /// Milliseconds of fragments in this segment.
  std::uint32_t segmentElapsed_ = 0;
  /// Milliseconds; 0 means one segment for ever.
  std::uint32_t segmentDuration_;
  std::string streamPath_;
  /// Paths of the recording's files, in the module's form.
  fileset::FileNames names_;
  IMOFileContext* fileContext_;
  K2RConfig config_;
  IMOStreamContext* streamContext_;
  IMOStreamOpenContext* openContext_;
  std::uint8_t streamType_ = 0;
  bool initialised_ = false;
  ruvo::k2r::FragmentationConfig fragmentationConfig_;
  /// Declared before all that may hold its blocks.
  ruvo::k2rpkgutil::RefCountedMemoryArena messageArena_;
  /// Accepted and not yet written; oldest first.
  std::vector<ruvo::k2rpkgutil::NQMessage> pendingMessages_;
  ruvo::k2r::FragmenterChoice fragmenter_;
  std::shared_ptr<ruvo::k2rpkgutil::IK2RMediaWriterPolicy> writerPolicy_;
  std::unique_ptr<ruvo::k2r::BootstrapBuilder> bootstrapBuilder_;
  /// Of the current segment only.
  ruvo::k2r::AfraIndex fragmentIndex_;
  K2RMediaProperties mediaProperties_;
  K2RWarningHandler warningHandler_;
  std::unique_ptr<K2RIOStream> segmentStream_;
  /// Null before the first fragment, and while a new segment could not be begun.
  std::unique_ptr<ruvo::k2rpkgutil::K2RMediaWriter> mediaWriter_;
  bool writerStarted_ = false;
  /// The base time could not be written: each fragment tries again.
  bool controlBehind_ = false;
  /// The description is written when the first segment has been begun, and tried again with each fragment.
  bool metaPending_ = false;
  /// The index file of this segment lacks entries.
  bool indexBehind_ = false;
  bool stopped_ = false;
  /// The first "onMetaData" of this stream object has come. Of what was in it the picture size is kept alone: a
  /// publisher may send megabytes.
  bool metadataTaken_ = false;
  /// Pixels, by the metadata.
  std::uint32_t videoWidth_ = 0;
  std::uint32_t videoHeight_ = 0;
  std::uint32_t openFlags_ = 0;
  bool controlPending_ = false;
  /// Absolute time of the recording's start.
  std::uint32_t baseTime_ = 0;
  bool absoluteOffsetSet_ = false;
  /// Milliseconds added to every time that comes in.
  std::uint32_t absoluteOffset_ = 0;
  std::uint32_t swapRetries_ = 10;
  /// Milliseconds between the attempts.
  std::uint32_t swapDelay_ = 100;
  FragmentDecision heldDecision_;
  /// Nothing where no fragment is announced that is not written yet.
  std::optional<BeforeAnnounced> beforeAnnounced_;
  RecordTimes lastTimes_;
};

}  // namespace qvs::k2r
