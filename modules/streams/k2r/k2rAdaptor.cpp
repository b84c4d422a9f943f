#include "modules/streams/k2r/k2rAdaptor.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <utility>

#include "modules/streams/k2r/HostLog.h"
#include "modules/streams/k2r/k2rData.h"

namespace qvs::k2r {
namespace {

constexpr std::uint32_t kVersion = 256;
constexpr std::uint32_t kPermission = 6;

K2RData& stream(void* handle) {
  return *static_cast<K2RData*>(handle);
}

bool put32(void* value, std::uint32_t number) {
  std::memcpy(value, &number, sizeof number);
  return true;
}

}  // namespace

template <typename Result, typename Body>
Result k2rAdaptor::guard(const char* operation, Result onFailure, Body&& body) const noexcept {
  char line[48];  // On the stack, so that there is a line even without memory.
  std::snprintf(line, sizeof line, "Unknown Error in %s()", operation);
  return guarded(*context_, line, onFailure, std::forward<Body>(body));
}

k2rAdaptor::k2rAdaptor(IMOStreamContext* context) : context_(context) {
  k2rAdaptor::config();
  try {
    rkx::initialise(encryptionBlock_);
  } catch (const rkx::RKXException& failure) {
    logError(*context_, failure);  // Not fatal: recordings in the clear do not need the library.
  }
}

k2rAdaptor::~k2rAdaptor() {
  rkx::terminate(encryptionBlock_);
}

std::uint32_t k2rAdaptor::getVersion() {
  return kVersion;
}

StreamLoadStatus k2rAdaptor::open(IMOStreamOpenContext* context, const char* path, std::uint32_t flags, void*,
                                  void*& handle) {
  return guard("init", kStreamFailed, [&] {
    auto data = std::make_unique<K2RData>(path, config_, context_, context, context_->fileContext());
    if (!data->initialise(flags)) return kStreamFailed;
    handle = data.release();
    return kStreamOpened;
  });
}

void k2rAdaptor::setUserData(void*, void*) {}

void k2rAdaptor::close(void* handle) {
  // The destructor guards its own steps, so that nothing is thrown here.
  const std::unique_ptr<K2RData> ended(static_cast<K2RData*>(handle));
}

bool k2rAdaptor::erase(void* handle) {
  return guard("erase", false, [&] { return stream(handle).erase(); });
}

std::uint32_t k2rAdaptor::getMemoryOverhead(void*) {
  return 0;
}

std::uint32_t k2rAdaptor::getDuration(void* handle) {
  return guard("getDuration", 0U, [&] { return stream(handle).getDuration(); });
}

std::int64_t k2rAdaptor::getSize(void*) {
  return 0;
}

std::int64_t k2rAdaptor::getEndPosition(void*) {
  return 0;
}

std::uint8_t k2rAdaptor::getType(void* handle) {
  return stream(handle).getType();
}

bool k2rAdaptor::findSegmentByIndex(void*, std::int64_t, SegmentBounds*) {
  return false;
}

bool k2rAdaptor::findSegmentByTime(void*, std::uint32_t, SegmentBounds*) {
  return false;
}

bool k2rAdaptor::loadSegment(void*, SegmentBounds*, ISegmentHolder*) {
  return false;
}

void k2rAdaptor::onFreeSegment(void*, std::uint32_t) {}

bool k2rAdaptor::record(void* handle, std::uint8_t type, const void* data, std::uint32_t size, std::uint32_t time) {
  // Guarded inside, with the same line for unknown errors.
  return stream(handle).record(type, static_cast<const std::byte*>(data), size, time);
}

bool k2rAdaptor::flushSegment(void*, SegmentBounds* bounds) {
  *bounds = {};
  return true;
}

bool k2rAdaptor::stopRecord(void* handle) {
  return guard("stopRecord", true, [&] { return stream(handle).stopRecord(); });
}

std::uint32_t k2rAdaptor::getPermission() {
  return kPermission;
}

bool k2rAdaptor::getAttribute(void* handle, AttrType_t type, void* value, std::uint32_t& length) {
  constexpr std::uint64_t kNone = 0;
  switch (type) {
    case kAttrType1:
      return put32(value, 0);
    case kAttrType2:
      return put32(value, getDuration(handle));
    case kAttrType3:
      if (length < sizeof kNone) {
        length = sizeof kNone;
        return false;
      }
      std::memcpy(value, &kNone, sizeof kNone);
      return true;
    case kAttrType4:  // A recording stream stores no media context.
      length = 0;
      return false;
    default:
      return false;
  }
}

bool k2rAdaptor::getMediaContexts(void*, ContextType_t, std::int64_t, IContextHolder*, bool) {
  return false;
}

bool k2rAdaptor::getAllMediaContexts(void*, IAllContextHolder*) {
  return false;
}

void k2rAdaptor::updateMediaContext(void* handle, ContextType_t, std::uint8_t messageType, std::uint32_t time,
                                    const void* data, std::uint32_t size) {
  guard("updateMediaContext", false, [&] {
    stream(handle).updateMediaContext(messageType, time, std::span(static_cast<const std::byte*>(data), size));
    return true;
  });
}

}  // namespace qvs::k2r
