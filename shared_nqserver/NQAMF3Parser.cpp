#include "shared_nqserver/NQAMF3Parser.h"

#include <algorithm>
#include <string>

#include "util/bytes.h"

namespace {

constexpr std::uint32_t kMoreFollow = 0x80;

std::uint8_t sevenBits(std::uint32_t value, int shift) {
  return static_cast<std::uint8_t>(value >> shift | kMoreFollow);
}

}  // namespace

std::uint32_t NQAMF3Parser::readU29() {
  std::uint32_t value = 0;
  for (int i = 0; i < 3; ++i) {
    const std::uint32_t byte = readByte();
    value = value << 7 | (byte & ~kMoreFollow);
    if ((byte & kMoreFollow) == 0) return value;
  }
  // The fourth byte has eight bits of the number, and no mark.
  value = value << 8 | readByte();
  return errorFlag() ? 0 : value;
}

void NQAMF3Parser::writeU29(std::uint32_t value) {
  if (value >= 0x40000000) value = 0;
  if (value >= 0x200000) {
    writeByte(sevenBits(value, 22));
    writeByte(sevenBits(value, 15));
    writeByte(sevenBits(value, 8));
    writeByte(static_cast<std::uint8_t>(value));
    return;
  }
  if (value >= 0x4000) writeByte(sevenBits(value, 14));
  if (value >= 0x80) writeByte(sevenBits(value, 7));
  writeByte(static_cast<std::uint8_t>(value & ~kMoreFollow));
}

NQTextPtr NQAMF3Parser::readAMF3String() {
  const std::uint32_t head = readU29();
  if (errorFlag()) return {};
  if ((head & 1) != 0) return readInlineString(head >> 1);
  const std::uint32_t index = head >> 1;
  if (index < stringTable_.size()) return stringTable_[index];
  reportError(position(), "While reading the AMF3 string, index of string " + std::to_string(index) +
                              " is found greater than sting reference table length " +
                              std::to_string(stringTable_.size()));
  return {};
}

NQTextPtr NQAMF3Parser::readInlineString(std::uint32_t length) {
  NQTextPtr text = readString(length);
  // An empty string has no index, on either side; entering it would shift all later ones.
  if (text && takeMemory(sizeof(NQTextPtr))) stringTable_.push_back(text);
  return text;
}

void NQAMF3Parser::writeAMF3String(const NQTextPtr& text) {
  const std::string_view bytes = stringOf(text.get()).view();
  if (bytes.empty()) return writeU29(1);
  // By content: values that were built and not read do not share equal texts.
  const auto known =
      std::ranges::find_if(stringTable_, [&](const NQTextPtr& other) { return stringOf(other.get()).view() == bytes; });
  if (known != stringTable_.end()) return writeU29(static_cast<std::uint32_t>(known - stringTable_.begin()) * 2);
  stringTable_.push_back(text);
  writeU29(static_cast<std::uint32_t>(bytes.size()) * 2 + 1);
  writeBytes(qvs::util::asBytes(bytes));
}
