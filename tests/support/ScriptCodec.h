#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "server/NQCSerializer.h"

namespace test {

/// A serializer that counts what goes to the parse log.
class ScriptCodec final : public NQCSerializer {
 public:
  ScriptCodec() = default;
  explicit ScriptCodec(std::span<const std::byte> bytes, bool throwOnError = true)
      : NQCSerializer(bytes, throwOnError) {}

  using NQCSerializer::readAMF3;
  using NQCSerializer::writeAMF3;

  void flushErrorLog() override { ++flushes; }

  int flushes = 0;
};

/// The values of a payload, up to its end. Throws for a malformed one.
std::vector<NQDataValue> readScript(std::span<const std::byte> payload);

/// The payload of some values.
std::vector<std::byte> writeScript(std::span<const NQDataValue> values, std::uint8_t encoding = 0);

std::string dumpOf(const NQDataValue& value);

}  // namespace test
