#include "tests/support/ScriptCodec.h"

#include "shared_nqserver/NQDataDump.h"

namespace test {

std::vector<NQDataValue> readScript(std::span<const std::byte> payload) {
  std::vector<NQDataValue> values;
  ScriptCodec codec(payload);
  while (codec.remaining() > 0) codec.readValue(values.emplace_back());
  return values;
}

std::vector<std::byte> writeScript(std::span<const NQDataValue> values, std::uint8_t encoding) {
  ScriptCodec codec;
  codec.setEncoding(encoding);
  for (const auto& value : values) codec.writeValue(value);
  return {codec.written().begin(), codec.written().end()};
}

std::string dumpOf(const NQDataValue& value) {
  std::string text;
  dumpValue(text, value);
  return text;
}

}  // namespace test
