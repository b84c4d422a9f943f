#pragma once

#include <cstddef>
#include <span>

#include "server/NQCSerializer.h"

/// Reads script data that is no message of a server: what is wrong with it throws and is in no parse log. A value that
/// was being read then has the members in front of the fault.
class ScriptReader final : public NQCSerializer {
 public:
  /// `bytes` outlive the reader.
  explicit ScriptReader(std::span<const std::byte> bytes) : NQCSerializer(bytes, true) {}

  void flushErrorLog() override {}
};
