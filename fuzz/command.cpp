// A message of the type that the first byte gives, its payload behind it: dumped, read as a command with and without
// exceptions, and where it is one, written in AMF0 and AMF3 and read again.

#include <optional>
#include <vector>

#include "fuzz/fuzzing.h"
#include "server/NQCommand.h"
#include "server/messagedump.h"

namespace {

using Bytes = std::vector<std::byte>;

qvs::SingleMessagePtr messageOf(std::uint8_t type, std::span<const std::byte> payload) {
  const auto message = NQMessagePtr::make(static_cast<std::uint32_t>(payload.size()));
  message->setType(qvs::MessageKind{type});
  message->append(payload);
  return message;
}

/// What a command becomes in an encoding; nothing where that cannot hold it.
std::optional<Bytes> written(NQCommand& command, std::uint8_t encoding) {
  command.setEncoding(encoding);
  NQMessagePtr message;
  if (!fuzz::takes<NQBreakConnection>([&] { message = command.toCommandMessage(); })) return std::nullopt;
  return Bytes(message->payload().begin(), message->payload().end());
}

Bytes writtenAgain(const Bytes& payload, std::uint8_t encoding) {
  NQCommand command(encoding == 0 ? qvs::MessageKind::kCommand : qvs::MessageKind::kCommandEx, payload, true);
  const auto again = written(command, encoding);
  fuzz::require(again.has_value(), "what was written and read can be written");
  return *again;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const auto message = messageOf(data[0], std::as_bytes(std::span(data + 1, size - 1)));
  const std::string dump = dumpMessage(message);
  fuzz::require(dump.size() < 4 * NQCommand::kMaxText + 8 * size, "a dump is bounded");

  NQCommand command(message, false);
  if (!fuzz::takes<NQBreakConnection>([&] { NQCommand(message, true); })) return 0;
  fuzz::require(!command.errorFlag(), "what is read well is read in any mode");
  for (const std::uint8_t encoding : {std::uint8_t{0}, std::uint8_t{3}}) {
    const auto first = written(command, encoding);
    if (!first) continue;
    // Some values turn into others on the wire, but only once.
    const Bytes second = writtenAgain(*first, encoding);
    fuzz::require(writtenAgain(second, encoding) == second, "a command comes back from its bytes");
  }
  return 0;
}
