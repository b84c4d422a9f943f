#include "server/messagedump.h"

#include <exception>
#include <string_view>

#include "server/NQCommand.h"
#include "shared_nqserver/NQDataDump.h"

using qvs::MessageKind;

namespace {

/// Of the first byte of an audio payload.
constexpr int kAudioFormatMask = 0x0F;

void appendLabel(std::string& out, std::string_view name, std::string_view field, std::uint32_t value) {
  out += ' ';
  if (name.empty())
    out.append(field).append(std::to_string(value));
  else
    out.append(name);
}

void appendSigned(std::string& out, std::string_view field, std::int32_t value) {
  out.append(field).append(std::to_string(value));
}

void appendHeader(std::string& out, const qvs::SingleMessage& message) {
  const auto kind = static_cast<std::uint32_t>(message.kind());
  appendLabel(out, qvs::kindName(kind), "id=", kind);
  appendSigned(out, " idByte=", static_cast<std::int8_t>(message.rawType()));
  appendSigned(out, " streamId=", static_cast<std::int32_t>(message.streamId()));
  appendSigned(out, " time=", static_cast<std::int32_t>(message.timestamp()));
}

void appendControl(std::string& out, const qvs::SingleMessage& message) {
  const std::uint32_t subtype = message.controlSubtype();
  appendLabel(out, qvs::controlName(subtype), "ctrlMsgType=", subtype);
  out += ' ';
  constexpr char kDigits[] = "0123456789ABCDEF";
  for (const std::byte byte : message.payload()) {
    const auto value = std::to_integer<unsigned>(byte);
    out += kDigits[value / 16];
    out += kDigits[value % 16];
  }
}

void appendAudio(std::string& out, const qvs::SingleMessage& message) {
  const std::uint32_t codec = message.codec();
  appendLabel(out, qvs::audioCodecName(codec), "codec=", codec);
  const auto payload = message.payload();
  const auto format = payload.empty() ? 0U : std::to_integer<std::uint32_t>(payload.front()) & kAudioFormatMask;
  appendLabel(out, qvs::audioFormatName(format), "format=", format);
}

void appendVideo(std::string& out, const qvs::SingleMessage& message) {
  const std::uint32_t codec = message.codec();
  appendLabel(out, qvs::videoCodecName(codec), "codec=", codec);
}

std::string_view encodingName(std::uint8_t encoding) {
  switch (encoding) {
    case 0:
      return "kEncodingAMF0";
    case 3:
      return "kEncodingAMF3";
    default:
      return {};
  }
}

void appendArguments(std::string& out, const NQCommand& command) {
  for (std::size_t i = 0; i < command.argumentCount(); ++i) {
    // Arguments share texts, so that a line could be far longer than the payload.
    if (out.size() > NQCommand::kMaxText) {
      out += " ...";
      return;
    }
    out.append(" arg").append(std::to_string(i)).append("=( ");
    dumpValue(out, command.argument(i));
    out += " )";
  }
}

void appendCommand(std::string& out, const qvs::SingleMessagePtr& message) {
  try {
    const NQCommand command(message, true);
    appendSigned(out, " trxId=", static_cast<std::int32_t>(command.transactionId().toInt64()));
    appendLabel(out, encodingName(command.encoding()), "encoding=", command.encoding());
    out.append(" ").append(command.nameText()).append(" cmdData=(");
    dumpValue(out, command.commandObject());
    out += " )";
    appendArguments(out, command);
  } catch (const std::exception&) {
    // A dump is for a log: it must not fail because of the message that it describes.
    out += "BAD_PARSE";
  }
}

}  // namespace

std::string dumpMessage(const qvs::SingleMessagePtr& message) {
  std::string out;
  appendHeader(out, *message);
  switch (message->kind()) {
    case MessageKind::kUserControl:
    case MessageKind::kVirtualUserControl:
      appendControl(out, *message);
      break;
    case MessageKind::kAudio:
      appendAudio(out, *message);
      break;
    case MessageKind::kVideo:
      appendVideo(out, *message);
      break;
    case MessageKind::kCommandEx:
    case MessageKind::kData:
    case MessageKind::kCommand:
      appendCommand(out, message);
      break;
    default:
      break;
  }
  return out;
}
