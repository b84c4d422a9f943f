#pragma once

#include <cstdint>

#include "host/Settings.h"
#include "imo/IMOStreamOpenContext.h"

namespace host {

/// The `Recording/...` settings of one stream, for the module. Keeps a reference to `settings`, which outlive it. The
/// module reads it while a stream is opened and at the first fragment, so it has to live as long as the stream.
class OpenContext final : public IMOStreamOpenContext {
 public:
  explicit OpenContext(const Settings& settings) : settings_(settings) {}
  /// Copies the value of `key` with its terminator to `buffer` and returns 0. Returns the length without the terminator
  /// if `size` is too small, and -1 if there is no such setting.
  std::int32_t property(const char* section, const char* key, char* buffer, std::uint32_t size) override;

 private:
  const Settings& settings_;
};

}  // namespace host
