#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "server/NQCSerializer.h"
#include "shared_nqserver/nqmessage.h"

/// The parts of a command or script-data message, read from a payload or to be written as a message:
///
///     command (kind 20; 17 after a zero byte)    name, transaction id, command object, arguments
///     data    (kind 18; 15 after a zero byte)    name, arguments
///
/// Each part is an AMF0 value, which may refer to earlier ones of the same message. A part that the payload does not
/// have is undefined. A copy shares objects and texts with the original. Belongs to one thread, as every serializer
/// does.
class NQCommand final : public NQCSerializer {
 public:
  /// A command to be filled: no name and no arguments, transaction id 0, command object null.
  NQCommand();
  /// Reads a message; one of another kind is a diagnostic and gives an empty command. If the payload is malformed, the
  /// parse log is written; with `rethrow` NQBreakConnection is thrown then, without it the command has the parts before
  /// the fault.
  NQCommand(const qvs::SingleMessagePtr& message, bool rethrow);
  /// The same for a payload that is no message yet; it is not referred to after the constructor. Payloads of the kinds
  /// 17 and 15 begin with the encoding byte: the command stays empty if that is not zero.
  NQCommand(qvs::MessageKind kind, std::span<const std::byte> payload, bool rethrow);
  /// A command to be filled further, with the same parts; the reading position and tables are not copied.
  NQCommand(const NQCommand& other);
  NQCommand& operator=(const NQCommand&) = delete;

  const NQDataValue& name() const { return name_; }
  /// The name; empty if it is no string. A view, valid until the name is set.
  std::string_view nameText() const { return name_.toString().view(); }
  /// Number of the name by commandIdOf(); 0 for an unknown one.
  std::uint32_t commandId() const { return commandId_; }
  const NQDataValue& transactionId() const { return transactionId_; }
  const NQDataValue& commandObject() const { return commandObject_; }
  std::size_t argumentCount() const { return arguments_.size(); }
  /// An undefined value for an index beyond the last argument.
  const NQDataValue& argument(std::size_t index) const;

  /// Sets the number of commandId(), too.
  void setName(std::string_view name);
  void setTransactionId(double id) { transactionId_ = NQDataValue::number(id); }
  void setCommandObject(NQDataValue object) { commandObject_ = std::move(object); }
  /// After the arguments that there are.
  void addArgument(NQDataValue value) { arguments_.push_back(std::move(value)); }
  /// Adds a member to the object that is the first argument; without arguments adds that object first. Returns false,
  /// with a diagnostic and nothing added, if the first argument is no object. `value` must not contain that object: a
  /// cycle is never freed.
  bool addProperty(std::string_view name, NQDataValue value);

  /// For diagnostics: "5: connect[3](Command data kNullType)( Command args kNumberType 1, kStringType \"a\")". After
  /// kMaxText bytes the rest of the arguments is "...".
  std::string toText() const;
  /// Bytes. Shared texts and objects could make the text far longer than the payload.
  static constexpr std::size_t kMaxText = std::size_t{1} << 20;

  // A message with stream id 0: kind 20 or 18 with AMF0 encoding, 17 or 15 and a zero byte with AMF3. Throws
  // NQException if it would exceed the 24-bit length of a message, NQOutOfMemory, and what NQCSerializer::writeValue
  // throws.
  NQMessagePtr toCommandMessage() const;
  NQMessagePtr toDataMessage() const;

 private:
  /// The last part that was read, for the parse log.
  enum class Stage { kNothing, kName, kTransactionId, kCommandObject, kAll };

  /// With `startsWithEncoding` a first byte other than zero ends the parse.
  void parse(qvs::MessageKind kind, bool startsWithEncoding);
  void readParts(qvs::MessageKind kind, Stage& stage);
  void readArguments();
  /// Makes room for one more argument; false if the payload's allowance is used up.
  bool makeArgumentRoom();
  /// Reads a value. Returns false on a fault, which leaves `part` as it was, and at the end of the payload.
  bool readPart(NQDataValue& part);
  void logFailure(qvs::MessageKind kind, Stage stage);
  std::string placeOf(Stage stage) const;
  NQMessagePtr toMessage(qvs::MessageKind kind, qvs::MessageKind kindEx,
                         std::span<const NQDataValue* const> parts) const;

  std::uint32_t commandId_ = 0;
  NQDataValue name_;
  NQDataValue transactionId_;
  NQDataValue commandObject_;
  std::vector<NQDataValue> arguments_;
  bool rethrow_ = false;
};
