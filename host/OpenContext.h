#pragma once

#include <cstdint>

#include "host/Settings.h"
#include "imo/IMOStreamOpenContext.h"

namespace host {

/// The `Recording/...` settings of one stream. Keeps a reference to `settings`, which outlive it.
class OpenContext final : public IMOStreamOpenContext {
 public:
  explicit OpenContext(const Settings& settings) : settings_(settings) {}
  std::int32_t property(const char* section, const char* key, char* buffer, std::uint32_t size) override;

 private:
  const Settings& settings_;
};

}  // namespace host
