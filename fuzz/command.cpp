// A message of the type that the first byte gives, its payload after it: dumped, read as a command with and without
// exceptions, and where it is one, written in AMF0 and AMF3 and read again.

#include <optional>
#include <vector>

#include "fuzz/fuzzing.h"
#include "server/NQCommand.h"
#include "server/messagedump.h"

namespace {

using Payload = std::vector<std::byte>;

/// What a command becomes in an encoding; nothing if the encoding has no form for it.
std::optional<Payload> written(NQCommand& command, std::uint8_t encoding) {
  command.setEncoding(encoding);
  NQMessagePtr message;
  if (!fuzz::takes<NQBreakConnection>([&] { message = command.toCommandMessage(); })) return std::nullopt;
  return Payload(message->payload().begin(), message->payload().end());
}

Payload writtenAgain(const Payload& payload, std::uint8_t encoding) {
  NQCommand command(encoding == 0 ? qvs::MessageKind::kCommand : qvs::MessageKind::kCommandEx, payload, true);
  const auto again = written(command, encoding);
  fuzz::require(again.has_value(), "what was written and read can be written");
  return *again;
}

}  // namespace

void fuzz::target(Bytes input) {
  if (input.empty()) return;
  const auto message = NQMessagePtr::make(static_cast<std::uint32_t>(input.size() - 1));
  message->setType(qvs::MessageKind{std::to_integer<std::uint8_t>(input[0])});
  message->append(input.subspan(1));
  const std::string dump = dumpMessage(message);
  require(dump.size() < 4 * NQCommand::kMaxText + 8 * input.size(), "a dump is bounded");

  NQCommand command(message, false);
  if (!takes<NQBreakConnection>([&] { NQCommand(message, true); })) return;
  require(!command.errorFlag(), "what is read well is read in any mode");
  for (const std::uint8_t encoding : {std::uint8_t{0}, std::uint8_t{3}}) {
    const auto first = written(command, encoding);
    if (!first) continue;
    // Some values turn into others on the wire, but only once.
    const Payload second = writtenAgain(*first, encoding);
    require(writtenAgain(second, encoding) == second, "a command comes back from its bytes");
  }
}
