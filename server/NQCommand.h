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

/// A command or script-data message in its parts, either taken from a payload or to be made into a message:
///
///     command (kind 20; 17 behind a zero byte)    name, transaction id, command object, arguments
///     data    (kind 18; 15 behind a zero byte)    name, arguments
///
/// each an AMF0 value, which may refer to those in front. A part that the payload does not have is undefined. Copies
/// share what values share. Belongs to one thread, as every serializer does.
class NQCommand final : public NQCSerializer {
 public:
  /// To be filled: no name and no arguments, transaction id 0, command object null.
  NQCommand();
  /// Reads a message; one of another kind gives an empty command. Where the payload is malformed, the parse log is
  /// written, and then NQBreakConnection thrown with `rethrow`; without, the command has what stands in front of the
  /// fault.
  NQCommand(const qvs::SingleMessagePtr& message, bool rethrow);
  /// The same for a payload that is no message yet, and outlives the reading only. The Ex kinds give an empty command
  /// where their first byte is not zero.
  NQCommand(qvs::MessageKind kind, std::span<const std::byte> payload, bool rethrow);
  /// The same parts, to be filled further.
  NQCommand(const NQCommand& other);
  NQCommand& operator=(const NQCommand&) = delete;

  const NQDataValue& name() const { return name_; }
  /// The name; empty where it is no string.
  std::string_view nameText() const { return name_.toString().view(); }
  /// See commandIdOf.
  std::uint32_t commandId() const { return commandId_; }
  const NQDataValue& transactionId() const { return transactionId_; }
  const NQDataValue& commandObject() const { return commandObject_; }
  std::size_t argumentCount() const { return arguments_.size(); }
  /// Undefined past the end.
  const NQDataValue& argument(std::size_t index) const;

  void setName(std::string_view name);
  void setTransactionId(double id) { transactionId_ = NQDataValue::number(id); }
  void setCommandObject(NQDataValue object) { commandObject_ = std::move(object); }
  void addArgument(NQDataValue value) { arguments_.push_back(std::move(value)); }
  /// Adds a member to the object that is the first argument, and that argument where there is none. False, a
  /// diagnostic, and nothing added where it is no object. `value` does not hold that object.
  bool addProperty(std::string_view name, NQDataValue value);

  /// For diagnostics: "5: connect[3](Command data kNullType)( Command args kNumberType 1, kStringType \"a\")". Ends in
  /// "..." behind kMaxText.
  std::string toText() const;
  static constexpr std::size_t kMaxText = std::size_t{1} << 20;

  // A message with stream id 0, in the form that `encoding` has. Throws NQException where it is beyond a message's
  // length, and as NQCSerializer::writeValue.
  NQMessagePtr toCommandMessage() const;
  NQMessagePtr toDataMessage() const;

 private:
  /// How far the reading of a payload has come.
  enum class Stage { kNothing, kName, kTransactionId, kCommandObject, kAll };

  /// `startsWithEncoding`: a byte that is to be zero comes first.
  void parse(qvs::MessageKind kind, bool startsWithEncoding);
  void readParts(qvs::MessageKind kind, Stage& stage);
  void readArguments();
  /// For one more; false where the payload may not have it.
  bool makeArgumentRoom();
  /// Reads a value, which a fault leaves as it was. False on a fault, and at the end of the payload.
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
