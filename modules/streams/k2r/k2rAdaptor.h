#pragma once

#include <cstdint>

#include "imo/IMOStreamAdaptor.h"
#include "modules/streams/k2r/K2RConfig.h"
#include "wrappers/rkx/library.h"

namespace qvs::k2r {

/// The interface of the module to the host, one object for all streams. Has no state of a stream: a handle is a pointer
/// to the stream's K2RData, which does the work. Lets no exception out. The host may use several streams on several
/// threads, but each stream on one at a time.
class k2rAdaptor : public IMOStreamAdaptor {
 public:
  /// Reads the settings, which are not read again later. `context` outlives the adaptor.
  explicit k2rAdaptor(IMOStreamContext* context);
  k2rAdaptor(const k2rAdaptor&) = default;
  k2rAdaptor& operator=(const k2rAdaptor&) = default;
  ~k2rAdaptor() override;

  std::uint32_t getVersion() override;
  StreamLoadStatus open(IMOStreamOpenContext* context, const char* path, std::uint32_t flags, void* userData,
                        void*& handle) override;
  void setUserData(void* handle, void* userData) override;
  void close(void* handle) override;
  bool erase(void* handle) override;
  std::uint32_t getMemoryOverhead(void* handle) override;
  std::uint32_t getDuration(void* handle) override;
  std::int64_t getSize(void* handle) override;
  std::int64_t getEndPosition(void* handle) override;
  std::uint8_t getType(void* handle) override;
  bool findSegmentByIndex(void* handle, std::int64_t index, SegmentBounds* bounds) override;
  bool findSegmentByTime(void* handle, std::uint32_t time, SegmentBounds* bounds) override;
  bool loadSegment(void* handle, SegmentBounds* bounds, ISegmentHolder* holder) override;
  void onFreeSegment(void* handle, std::uint32_t id) override;
  bool record(void* handle, std::uint8_t type, const void* data, std::uint32_t size, std::uint32_t time) override;
  bool flushSegment(void* handle, SegmentBounds* bounds) override;
  bool stopRecord(void* handle) override;
  std::uint32_t getPermission() override;
  bool getAttribute(void* handle, AttrType_t type, void* value, std::uint32_t& length) override;
  bool getMediaContexts(void* handle, ContextType_t type, std::int64_t position, IContextHolder* holder,
                        bool all) override;
  bool getAllMediaContexts(void* handle, IAllContextHolder* holder) override;
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
