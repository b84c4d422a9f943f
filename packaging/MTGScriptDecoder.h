#pragma once

#include "wrappers/mtg/ScriptDecoder.h"

namespace ruvo::k2rpkgutil {

/// Reads the script data of tag streams with ScriptReader, so that a stored stream is described by the same reader, and
/// within the same bounds of memory and depth, as a recorded message. Has no state; the values of one tag belong to one
/// thread at a time.
class MTGScriptDecoder final : public mtg::ScriptDecoder {
 public:
  /// Reads a name and a value (AMF0). Data that are malformed give what could be read before the fault, possibly
  /// an empty value with an empty name. The result does not refer to `data`. Throws std::bad_alloc.
  std::unique_ptr<mtg::ScriptValue> read(std::span<const std::byte> data) override;
};

}  // namespace ruvo::k2rpkgutil
