#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "fileset/FileNames.h"
#include "fragmentation/BootstrapBuilder.h"
#include "fragmentation/FragmentationConfig.h"
#include "fragmentation/FragmenterChoice.h"
#include "imo/IMOStreamContext.h"
#include "imo/IMOStreamOpenContext.h"
#include "imo/types.h"
#include "modules/streams/k2r/FilesToWrite.h"
#include "modules/streams/k2r/ISegmenter.h"
#include "modules/streams/k2r/K2RConfig.h"
#include "modules/streams/k2r/K2RIOStream.h"
#include "modules/streams/k2r/K2RMediaProperties.h"
#include "modules/streams/k2r/K2RWarningHandler.h"
#include "modules/streams/k2r/RecordTimes.h"
#include "modules/streams/k2r/SegmentIndex.h"
#include "packaging/IPackagerContext.h"
#include "packaging/K2RMediaWriter.h"
#include "packaging/NQMessage.h"
#include "packaging/RefCountedMemoryArena.h"
#include "packaging/RefMessage.h"
#include "shared_nqserver/NQDataValue.h"
#include "util/bytes.h"

namespace qvs::k2r {

/// One stream that is recorded: the object to which the host's handle points. Owns all state of the recording; the
/// three contexts are the host's and outlive it. The host calls its operations one at a time.
///
/// The order of writes is its one design rule: first the samples of a fragment, then the index that says where they
/// are, then the bootstrap that says that they exist. Index and bootstrap are written to a temporary file that replaces
/// the old one.
class K2RData : public ruvo::k2rpkgutil::IPackagerContext, public ISegmenter {
 public:
  /// Derives the file names from `path`, which is in the module's form. Touches nothing on disk. Throws
  /// boost::bad_lexical_cast for a segment duration that is no number.
  K2RData(const char* path, const K2RConfig& config, IMOStreamContext* streamContext, IMOStreamOpenContext* openContext,
          IMOFileContext* fileContext);
  /// Writes no file: without stopRecord() the files stay as the last fragment left them.
  ~K2RData() override;
  K2RData(const K2RData&) = delete;
  K2RData& operator=(const K2RData&) = delete;

  /// Makes the object ready for record(), according to the `flags` of the host's open. If it returns false, the reason
  /// is in the host's log, except for flags without kOpenRecord. A second call does nothing.
  bool initialise(std::uint32_t flags);
  /// Takes one message; `time` is in milliseconds. False means that the message is lost, and the log has the reason.
  /// The stream can continue in both cases.
  bool record(std::uint8_t type, const std::byte* data, std::uint32_t size, std::uint32_t time);
  /// Finishes the files: takes back what was announced and never written, marks the end in the bootstrap, and ends the
  /// segment. Messages after the last whole fragment are dropped. Always true.
  bool stopRecord();
  /// Removes the recording's directory. True if it is gone.
  bool erase();
  /// Milliseconds recorded so far, in whole fragments.
  std::uint32_t getDuration() const;
  std::uint8_t getType() const { return streamType_; }
  /// Takes the offset of an "onTimeCoordInfo" command, which is added to the time of every later message. Ignores other
  /// commands, and data that is no command.
  void updateMediaContext(std::uint8_t messageType, std::uint32_t time, std::span<const std::byte> data);

  ruvo::k2rpkgutil::IMemoryArena& getArena() override { return messageArena_; }
  void addDuration(std::uint32_t milliseconds) override;
  std::uint32_t segmentNumber() const override { return segmentNumber_; }

 private:
  using RefMessage = ruvo::k2rpkgutil::RefMessage;
  using FragmentDecision = ruvo::k2r::FragmentDecision;
  using FragmentRange = ruvo::k2r::FragmentRange;

  /// What a check says of a message. A skipped one is not recorded, but not lost either. kRefuse makes record() return
  /// false.
  enum class Check { kAccept, kSkip, kRefuse };
  /// The bootstrap, and the number of index entries, before a fragment was announced in them.
  struct BeforeAnnounced {
    ruvo::k2r::BootstrapBuilder bootstrap;
    std::size_t entries = 0;
  };
  /// The result of a decision.
  struct Outcome {
    /// Whether record() has to queue the message.
    bool queue = true;
    /// Set if a fragment was written: its milliseconds, for addDuration(). finishFragment() takes them after the
    /// message is queued.
    std::optional<std::uint32_t> writtenMs = {};
  };
  /// A writer's policy, and the text of the protection metadata; without text in the clear.
  struct PreparedPolicy {
    std::shared_ptr<ruvo::k2rpkgutil::IK2RMediaWriterPolicy> policy;
    std::optional<std::string> metadataText;
  };

  // k2rData.cpp: the path of a message
  /// For a message that was accepted: its time, the decision of the fragmenter, the queue.
  bool recordMessage(RefMessage& message, std::uint8_t type, std::uint32_t time);
  /// Logs the reason of a refusal.
  Check check(const RefMessage& message);
  /// Throws QVSException if the index of the segment would get too large by the numbers that the sample skips.
  void requireRoomForJump(const ruvo::k2r::SampleInfo& sample) const;
  /// `time` is that of the host, in ms; the offset of updateMediaContext() is added.
  RecordTimes computeTimes(std::uint32_t time) const;
  /// A time before that of the last message becomes the last one, with a warning.
  RecordTimes liftBackward(RecordTimes times);
  /// Writes the control file, too.
  void takeBaseTime(std::uint32_t absolute);

  // k2rDataMetadata.cpp: script data that controls the recording
  /// A new recording accepts no other message before its metadata.
  Check checkMetadata(const RefMessage& message);
  /// True if the message is the metadata of this stream, which is then taken.
  bool captureMetadata(const RefMessage& message);
  /// From `width` and `height`; anything but numbers is ignored.
  void takePictureSize(const NQDataValue& metadata);

  // k2rDataTracks.cpp
  /// Adds a track for the first message of a kind, until the writer has started. Later messages need the same codec.
  Check checkTrack(const RefMessage& message);
  /// With one description; language and timescale are the defaults of a new track.
  void addTrackFor(const RefMessage& message, std::shared_ptr<ruvo::k2rpkgutil::K2RSampleDescriptor> descriptor);

  // k2rDataFragments.cpp: what a decision does
  /// Carries out what the fragmenter decided. Throws if a fragment that is due cannot be written; the message is then
  /// lost.
  Outcome act(const FragmentDecision& decision);
  /// These two return the milliseconds for addDuration().
  std::uint32_t writeFragment(const FragmentRange& range);
  std::uint32_t flushHeldFragment(const FragmentRange& range);
  /// Announces a fragment whose samples stay queued, because the next key frame has not come yet.
  void holdFragment(const FragmentDecision& decision);
  /// The first fragment that counts begins: drops the queue, and marks the numbers before it as skipped.
  void startRecording(const FragmentRange& range);
  /// Adds the fragment to bootstrap and index in memory, and keeps what they were before.
  void announce(const FragmentRange& range);
  /// Restores what announce() kept. Does nothing if no fragment is announced.
  void takeBackAnnounced();
  /// Its duration is rounded to the precision of the settings.
  void addToBootstrap(const FragmentRange& range);
  /// Writes the announced fragment with all queued messages below `limit` (milliseconds). If that fails, the fragment
  /// is not announced any more, and the queue is as before.
  void writeAnnounced(std::uint32_t fragment, std::uint32_t limit);
  /// What follows a fragment that is in the segment: small files, roll-over. Throws only if the index is corrupt.
  void finishFragment(std::uint32_t writtenMs);
  /// A number without data.
  void skipFragment(const FragmentRange& range);
  /// Gives the index entries for the numbers between its last one and `fragment`, with a warning.
  void insertSafetyGap(std::uint32_t fragment);
  /// The same up to and including `fragment`, without a warning; `start` is the time of the entries.
  void markSkippedUpTo(std::uint32_t fragment, std::uint64_t start);
  /// `time` in ms; `afraOffset` in bytes from the start of the segment file, 0 for a number without data.
  void addIndexEntry(std::uint64_t time, std::uint32_t fragment, std::uint64_t afraOffset);
  /// Throws QVSException if the first queued video message is no key frame.
  void requireKeyFrame() const;
  /// Removes the messages below `limit` (milliseconds) from the queue.
  void dropWritten(std::uint32_t limit);

  // k2rDataSegments.cpp: the segment file and its writer
  /// Before the first fragment of a new recording; does nothing later.
  void startWriter();
  /// Once the metadata are known: every `tkhd` of the recording gets the same size.
  void setPictureSize();
  /// For the file of the current segment number. Opens nothing yet.
  void makeSegmentStream(bool append);
  /// Begins the segment file, with a new writer.
  void openSegment();
  /// An interrupted recorder may have left the index of the segment that is begun now. Until the first fragment it
  /// would describe a file that is gone.
  void removeStaleIndex();

  // k2rDataIndex.cpp: the small files
  /// After each fragment: writes index and bootstrap, and what earlier fragments could not write.
  void flushSmallFiles();
  /// Four bytes: the base time in ms.
  void writeControlFile(std::uint32_t baseTime);
  /// The description of the tracks, as script data.
  void writeMetaFile();
  /// Writes a file in its place. On false the log has a line, and the file may be missing or cut short.
  bool writeSmallFile(const std::string& path, std::span<const std::byte> content);
  /// On false the old file is in its place. Throws QVSException if the index is corrupt.
  bool writeIndexFile();
  /// Never while the index on disk lacks what it names.
  void writeBootstrapFile();
  /// Throws if the temporary file cannot be written. False if it could not replace the old one.
  bool replaceFile(const std::string& path, const std::string& temporary, std::span<const std::byte> content);
  bool swapInFile(const std::string& from, const std::string& to);
  /// At a stop: takes a held fragment out of index and bootstrap.
  void trimIndex();
  /// For a segment whose only fragment was taken back: the bootstrap must not name it.
  void forgetEmptySegment();

  // k2rDataLifecycle.cpp: begin and end
  /// Reads the base time and the fragmentation settings.
  void prepareTimes();
  /// A missing file, or one shorter than 4 bytes, leaves the base time to be found elsewhere.
  void readControlFile();
  /// Removes what is there and begins a recording. False, with a line in the log, if there is no directory.
  bool initNew();
  /// At a stop: the last index, and the bootstrap with its end marker.
  void finishSmallFiles() noexcept;
  /// Whether the index file on disk is equal to the index in memory.
  bool isIndexOnDisk() const;

  // k2rDataAppend.cpp: continuing a recording
  /// False, with a line in the log, if the recording cannot be continued.
  bool initAppend();
  void logAppendFailure(const krvo::k2m::Exception& failure);
  /// Takes over what StoredRecording found, and opens the last segment after its last fragment.
  void resumeRecording();
  std::uint32_t lastIndexedFragment() const;
  /// Returns whether one of them is video.
  bool takeStoredTracks();

  // k2rDataProtection.cpp: in the clear or protected
  /// By the settings, not by what is on disk.
  bool isProtected() const;
  /// The largest number of data bytes that a message like this one may have.
  std::uint32_t mostDataFor(const RefMessage& message) const;
  void makeWriterPolicy() { takeWriterPolicy(prepareWriterPolicy()); }
  /// Reads the settings and the files they name. Touches nothing of the recording.
  PreparedPolicy prepareWriterPolicy();
  /// Writes the protection file, and keeps the policy.
  void takeWriterPolicy(PreparedPolicy prepared);
  void writeProtectionFile(std::string metadataText);
  /// Opens the last segment as if to continue it, and changes nothing. Throws what `policy` throws if the segment does
  /// not fit it.
  void checkStoredSegment(ruvo::k2rpkgutil::IK2RMediaWriterPolicy& policy, std::uint64_t position);

  // The host's, and what it gave when the stream was opened.
  IMOStreamContext* streamContext_;
  IMOStreamOpenContext* openContext_;
  IMOFileContext* fileContext_;
  K2RConfig config_;
  std::uint32_t openFlags_ = 0;
  bool initialised_ = false;
  bool stopped_ = false;
  std::uint8_t streamType_ = 0;
  ruvo::k2r::FragmentationConfig fragmentationConfig_;

  // Files.
  std::string streamPath_;
  /// Paths of the recording's files, in the module's form.
  fileset::FileNames names_;
  FilesToWrite filesToWrite_;
  /// Attempts to replace a small file, if the host's file system refuses it for a moment.
  std::uint32_t swapRetries_ = 10;
  /// Milliseconds between the attempts.
  std::uint32_t swapDelay_ = 100;

  // The current segment.
  std::uint32_t segmentNumber_ = 1;
  /// Milliseconds of fragments in it.
  std::uint32_t segmentElapsed_ = 0;
  /// Milliseconds; 0 means one segment of any length.
  std::uint32_t segmentDuration_;
  SegmentIndex fragmentIndex_;

  // Messages and fragments. The arena is declared before everything that may contain its blocks.
  ruvo::k2rpkgutil::RefCountedMemoryArena messageArena_;
  /// Accepted and not yet written; oldest first.
  std::vector<ruvo::k2rpkgutil::NQMessage> pendingMessages_;
  ruvo::k2r::FragmenterChoice fragmenter_;
  FragmentDecision heldDecision_;
  std::unique_ptr<ruvo::k2r::BootstrapBuilder> bootstrapBuilder_;
  /// Set while a fragment is announced that is not written yet.
  std::optional<BeforeAnnounced> beforeAnnounced_;

  // The writer, after all that it refers to.
  K2RMediaProperties mediaProperties_;
  K2RWarningHandler warningHandler_;
  std::shared_ptr<ruvo::k2rpkgutil::IK2RMediaWriterPolicy> writerPolicy_;
  std::unique_ptr<K2RIOStream> segmentStream_;
  /// Null before the first fragment, and after a segment that could not be begun.
  std::unique_ptr<ruvo::k2rpkgutil::K2RMediaWriter> mediaWriter_;
  bool writerStarted_ = false;

  // Metadata. Only the picture size is kept of it, since a publisher may send megabytes.
  /// The first "onMetaData" of this stream object has come.
  bool metadataTaken_ = false;
  /// Pixels, by the metadata.
  std::uint32_t videoWidth_ = 0;
  std::uint32_t videoHeight_ = 0;

  // Times, in milliseconds.
  /// Absolute time of the recording's start.
  std::uint32_t baseTime_ = 0;
  bool absoluteOffsetSet_ = false;
  /// Added to every time that comes in.
  std::uint32_t absoluteOffset_ = 0;
  RecordTimes lastTimes_;
};

}  // namespace qvs::k2r
