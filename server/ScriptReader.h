#pragma once

#include <cstddef>
#include <span>

#include "server/NQCSerializer.h"

/// Reads script data that is no message of a server: descriptions of streams, `.meta` files, recorded messages. A fault
/// throws NQBreakConnection and writes no parse log. The value that was being read then has the members before the
/// fault.
///
/// The only reader of script data besides commands, so that no file means one thing to one reader and another to the
/// next.
class ScriptReader final : public NQCSerializer {
 public:
  /// `bytes` outlive the reader.
  explicit ScriptReader(std::span<const std::byte> bytes) : NQCSerializer(bytes, true) {}

  /// Writes no file: reading a recording changes nothing on disk.
  void flushErrorLog() override {}
};
