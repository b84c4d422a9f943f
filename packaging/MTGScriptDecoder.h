#pragma once

#include "wrappers/mtg/ScriptDecoder.h"

namespace ruvo::k2rpkgutil {

/// Reads the script data of tag streams by ScriptReader, so within the bounds that hold for recorded messages. Has no
/// state; the values of one tag belong to one thread at a time.
class MTGScriptDecoder final : public mtg::ScriptDecoder {
 public:
  std::unique_ptr<mtg::ScriptValue> read(std::span<const std::byte> data) override;
};

}  // namespace ruvo::k2rpkgutil
