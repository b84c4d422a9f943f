#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "imo/IMOStreamAdaptor.h"
#include "imo/IMOStreamContext.h"

namespace test {

/// An adaptor that writes down what it is told. Refuses messages of a type that a recording does not take, with a line
/// in the host's log, and does not open where the setting Recording/FragmentDuration is "0". Makes the directory anew,
/// as the real one does.
class FakeAdaptor : public IMOStreamAdaptor {
 public:
  struct Message {
    std::uint8_t type;
    std::uint32_t timeMs;
    std::vector<std::byte> data;
  };

  explicit FakeAdaptor(IMOStreamContext* context) : context_(context) {}

  /// "open <path> <flags>", "stop" and "close", in order.
  std::vector<std::string> calls;
  std::vector<Message> messages;

  StreamLoadStatus open(IMOStreamOpenContext* settings, const char* path, std::uint32_t flags, void*,
                        void*& handle) override {
    calls.push_back(std::string("open ") + path + " " + std::to_string(flags));
    char value[16] = {};
    const bool given = settings->property("recording", "Recording/FragmentDuration", value, sizeof value) == 0;
    if (given && std::string(value) == "0") {
      context_->log("invalid fragment duration specified", kIMOLogError, true);
      return kStreamFailed;
    }
    IMOFileContext& files = *context_->fileContext();
    if ((flags & kOpenAppend) == 0) {
      files.remove(path, 3, 1);
      if (files.createDirectory(path) != 0) return kStreamFailed;
    }
    handle = this;
    return kStreamOpened;
  }
  bool record(void*, std::uint8_t type, const void* data, std::uint32_t size, std::uint32_t time) override {
    const auto* const bytes = static_cast<const std::byte*>(data);
    messages.push_back({type, time, {bytes, bytes + size}});
    const bool known = type == 8 || type == 9 || type == 18 || type == 15;
    if (!known) context_->log("Invalid message type.", kIMOLogError, true);
    return known;
  }
  bool stopRecord(void*) override {
    calls.emplace_back("stop");
    return true;
  }
  void close(void*) override { calls.emplace_back("close"); }

  std::uint32_t getVersion() override { return 256; }
  void setUserData(void*, void*) override {}
  bool erase(void*) override { return false; }
  std::uint32_t getMemoryOverhead(void*) override { return 0; }
  std::uint32_t getDuration(void*) override { return 0; }
  std::int64_t getSize(void*) override { return 0; }
  std::int64_t getEndPosition(void*) override { return 0; }
  std::uint8_t getType(void*) override { return 0; }
  bool findSegmentByIndex(void*, std::int64_t, SegmentBounds*) override { return false; }
  bool findSegmentByTime(void*, std::uint32_t, SegmentBounds*) override { return false; }
  bool loadSegment(void*, SegmentBounds*, ISegmentHolder*) override { return false; }
  void onFreeSegment(void*, std::uint32_t) override {}
  bool flushSegment(void*, SegmentBounds*) override { return true; }
  std::uint32_t getPermission() override { return 6; }
  bool getAttribute(void*, AttrType_t, void*, std::uint32_t&) override { return false; }
  bool getMediaContexts(void*, ContextType_t, std::int64_t, IContextHolder*, bool) override { return false; }
  bool getAllMediaContexts(void*, IAllContextHolder*) override { return false; }
  void updateMediaContext(void*, ContextType_t, std::uint8_t, std::uint32_t, const void*, std::uint32_t) override {}

 private:
  IMOStreamContext* context_;
};

}  // namespace test
