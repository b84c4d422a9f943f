#pragma once

#include <cstdint>

#include "imo/IMOStreamAdaptor.h"
#include "modules/streams/k2r/K2RConfig.h"
#include "wrappers/rkx/library.h"

namespace qvs::k2r {

/// The interface of the module to the host, one object for all streams. Has no state of a stream: a handle is a pointer
/// to the stream's K2RData, which does the work. Lets no exception out. The host may use several streams on several
/// threads, but each stream on one at a time. The module only records: operations that only playback needs
/// report nothing, and do not look at their handle.
class k2rAdaptor : public IMOStreamAdaptor {
 public:
  /// Reads the settings, which are not read again later. `context` outlives the adaptor.
  explicit k2rAdaptor(IMOStreamContext* context);
  k2rAdaptor(const k2rAdaptor&) = default;
  k2rAdaptor& operator=(const k2rAdaptor&) = default;
  ~k2rAdaptor() override;

  std::uint32_t getVersion() override;
  /// `handle` is set only on success, and valid until close(). The reason of a failure is in the log of the host.
  StreamLoadStatus open(IMOStreamOpenContext* context, const char* path, std::uint32_t flags, void* userData,
                        void*& handle) override;
  /// Ignored.
  void setUserData(void* handle, void* userData) override;
  /// Without stopRecord() before it, the files stay as the last fragment left them, and an append continues there.
  void close(void* handle) override;
  /// Removes the recording from the disk. The handle stays open.
  bool erase(void* handle) override;
  /// Always 0: nothing is cached beyond the queue.
  std::uint32_t getMemoryOverhead(void* handle) override;
  /// In ms, whole fragments only.
  std::uint32_t getDuration(void* handle) override;
  /// Both always 0: sizes and positions are those of playback.
  std::int64_t getSize(void* handle) override;
  std::int64_t getEndPosition(void* handle) override;
  std::uint8_t getType(void* handle) override;
  /// Always false, as the next two are: a recording stream gives out no segments.
  bool findSegmentByIndex(void* handle, std::int64_t index, SegmentBounds* bounds) override;
  bool findSegmentByTime(void* handle, std::uint32_t time, SegmentBounds* bounds) override;
  bool loadSegment(void* handle, SegmentBounds* bounds, ISegmentHolder* holder) override;
  void onFreeSegment(void* handle, std::uint32_t id) override;
  /// `size` bytes at `data`, copied if the message is queued; `time` in ms. False if the message is lost.
  bool record(void* handle, std::uint8_t type, const void* data, std::uint32_t size, std::uint32_t time) override;
  /// Always true, with empty bounds: fragments are written when they are complete.
  bool flushSegment(void* handle, SegmentBounds* bounds) override;
  /// Finishes the files. Always true; what fails is in the log.
  bool stopRecord(void* handle) override;
  std::uint32_t getPermission() override;
  /// Attributes 1 and 3 are 0, attribute 2 is the duration. False for the others; `length` is set to what is needed if
  /// the room is too small.
  bool getAttribute(void* handle, AttrType_t type, void* value, std::uint32_t& length) override;
  /// No context is stored, so both are always false.
  bool getMediaContexts(void* handle, ContextType_t type, std::int64_t position, IContextHolder* holder,
                        bool all) override;
  bool getAllMediaContexts(void* handle, IAllContextHolder* holder) override;
  /// Takes the offset of the stream's clock; see K2RData::updateMediaContext().
  void updateMediaContext(void* handle, ContextType_t type, std::uint8_t messageType, std::uint32_t time,
                          const void* data, std::uint32_t size) override;

  /// Reads the four settings of the adaptor.
  virtual void config();
  /// Reads a setting as text. `*value` is a block of `length` bytes from util::memory::cAllocation. If the text is
  /// longer, the block is reallocated and `length` is its new size. The caller frees it. False if there is no such key.
  virtual bool readConfig(const char* key, char** value, std::uint32_t& length);
  /// Each of these returns whether the key was found. `value` stays as it is if the key is missing or the text does not
  /// fit: for a bool anything but exactly "true" or "false", for a number anything outside the limits.
  virtual bool readConfigBool(const char* key, bool& value);
  virtual bool readConfigUnsigned(const char* key, std::uint32_t& value, std::uint32_t minimum, std::uint32_t maximum);
  bool readConfigInt(const char* key, std::int32_t& value);

 private:
  /// guarded() with the name of the operation in the line for an unknown error.
  template <typename Result, typename Body>
  Result guard(const char* operation, Result onFailure, Body&& body) const noexcept;

  IMOStreamContext* context_;
  K2RConfig config_;
  /// The encryption library's, from construction to destruction.
  rkx::LibraryBlock encryptionBlock_{};
};

}  // namespace qvs::k2r
