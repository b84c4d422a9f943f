#include "server/NQCommand.h"

#include <algorithm>

#include "server/NQCommandTable.h"
#include "shared_nqserver/NQDataDump.h"
#include "util/diagnostics.h"

using qvs::MessageKind;

namespace {

constexpr std::uint8_t kAmf3Encoding = 3;

}  // namespace

NQCommand::NQCommand() : transactionId_(NQDataValue::number(0)), commandObject_(NQDataValue::null()) {}

NQCommand::NQCommand(const qvs::SingleMessagePtr& message, bool rethrow)
    : NQCSerializer(message, rethrow), rethrow_(rethrow) {
  parse(message->kind(), false);
}

NQCommand::NQCommand(MessageKind kind, std::span<const std::byte> payload, bool rethrow)
    : NQCSerializer(payload, rethrow), rethrow_(rethrow) {
  parse(kind, kind == MessageKind::kCommandEx || kind == MessageKind::kDataEx);
}

NQCommand::NQCommand(const NQCommand& other)
    : NQCSerializer(),
      commandId_(other.commandId_),
      name_(other.name_),
      transactionId_(other.transactionId_),
      commandObject_(other.commandObject_),
      arguments_(other.arguments_) {}

const NQDataValue& NQCommand::argument(std::size_t index) const {
  static const NQDataValue missing{};
  return index < arguments_.size() ? arguments_[index] : missing;
}

void NQCommand::setName(std::string_view name) {
  name_ = NQDataValue::string(name);
  commandId_ = commandIdOf(name);
}

bool NQCommand::addProperty(std::string_view name, NQDataValue value) {
  if (arguments_.empty()) addArgument(NQDataValue::container(NQDataKind::kObjectType, NQDataArrayPtr::make()));
  NQDataArray* const object = arguments_.front().array();
  qvs::util::diagnose(object != nullptr);
  if (object == nullptr) return false;
  object->append(makeText(name), std::move(value));
  return true;
}

std::string NQCommand::toText() const {
  std::string text = std::to_string(transactionId_.toInt64());
  text.append(": ").append(nameText()).append("[").append(std::to_string(commandId_)).append("](Command data");
  dumpValue(text, commandObject_);
  text += ")( Command args";
  const char* separator = "";
  for (const auto& argument : arguments_) {
    text += std::exchange(separator, ", ");
    // Between arguments; dumpValue() limits each of them itself.
    if (text.size() > kMaxText) {
      text += "...";
      break;
    }
    dumpValue(text, argument);
  }
  return text += ")";
}

NQMessagePtr NQCommand::toCommandMessage() const {
  const NQDataValue* const parts[] = {&name_, &transactionId_, &commandObject_};
  return toMessage(MessageKind::kCommand, MessageKind::kCommandEx, parts);
}

NQMessagePtr NQCommand::toDataMessage() const {
  const NQDataValue* const parts[] = {&name_};
  return toMessage(MessageKind::kData, MessageKind::kDataEx, parts);
}

NQMessagePtr NQCommand::toMessage(MessageKind kind, MessageKind kindEx,
                                  std::span<const NQDataValue* const> parts) const {
  const bool isEx = encoding() == kAmf3Encoding;
  NQCommand writer;
  writer.setEncoding(encoding());
  if (isEx) writer.writeByte(0);
  for (const auto* part : parts) writer.writeValue(*part);
  for (const auto& argument : arguments_) writer.writeValue(argument);

  const auto payload = writer.written();
  if (payload.size() > qvs::util::kMaxTagDataSize)
    throw NQException(NQString("a command of " + std::to_string(payload.size()) + " bytes; a message has up to " +
                               std::to_string(qvs::util::kMaxTagDataSize)));
  auto message = NQMessagePtr::make(static_cast<std::uint32_t>(payload.size()));
  message->setType(isEx ? kindEx : kind);
  if (!message->append(payload)) throw NQOutOfMemory();
  return message;
}

void NQCommand::parse(MessageKind kind, bool startsWithEncoding) {
  auto stage = Stage::kNothing;
  try {
    if (!startsWithEncoding || readByte() == 0) readParts(kind, stage);
  } catch (const NQBreakConnection&) {
    // The log first: it prints the parts that were read, which the caller of a constructor that throws never gets.
    logFailure(kind, stage);
    if (rethrow_) throw;
  }
}

void NQCommand::readParts(MessageKind kind, Stage& stage) {
  const bool isCommand = kind == MessageKind::kCommand || kind == MessageKind::kCommandEx;
  const bool isData = kind == MessageKind::kData || kind == MessageKind::kDataEx;
  qvs::util::diagnose(isCommand || isData);
  if (!isCommand && !isData) return;

  readPart(name_);
  commandId_ = commandIdOf(nameText());
  stage = Stage::kName;
  if (isCommand) {
    readPart(transactionId_);
    stage = Stage::kTransactionId;
    readPart(commandObject_);
  } else {
    transactionId_ = NQDataValue::number(0);
  }
  stage = Stage::kCommandObject;
  readArguments();
  stage = Stage::kAll;
}

void NQCommand::readArguments() {
  while (true) {
    NQDataValue argument;
    if (!readPart(argument) || !makeArgumentRoom()) return;
    addArgument(std::move(argument));
  }
}

bool NQCommand::makeArgumentRoom() {
  constexpr std::size_t kLeastRoom = 4;
  if (arguments_.size() < arguments_.capacity()) return true;
  const std::size_t room = std::max(kLeastRoom, 2 * arguments_.size());
  // Growing here and not in push_back(), so that the allowance is asked before the memory is taken.
  if (!takeMemory(room * sizeof(NQDataValue))) return false;
  arguments_.reserve(room);
  return true;
}

bool NQCommand::readPart(NQDataValue& part) {
  if (remaining() == 0) return false;
  // Aside first: a part that is cut off is not taken, though it would have the members before the fault.
  NQDataValue value;
  readValue(value);
  if (errorFlag()) return false;
  part.swap(value);
  return true;
}

void NQCommand::logFailure(MessageKind kind, Stage stage) {
  addErrorLine("while parsing buffer with message id " + std::to_string(static_cast<int>(kind)) + placeOf(stage));
  addErrorLine("Command parsed as \n" + toText());
  flushErrorLog();
  clearErrorLog();
}

std::string NQCommand::placeOf(Stage stage) const {
  switch (stage) {
    case Stage::kNothing:
      return ", failed to read the command type (first arg)";
    case Stage::kName:
      return ", failed to read the transaction id";
    case Stage::kTransactionId:
      return ", failed to read the command data";
    case Stage::kCommandObject:
      return ", failed to read the argument number" + std::to_string(arguments_.size());
    case Stage::kAll:
      return {};
  }
  return {};
}
