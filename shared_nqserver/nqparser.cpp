#include "shared_nqserver/nqparser.h"

#include <algorithm>
#include <bit>
#include <functional>

#include "shared_nqserver/parseLog.h"
#include "util/NQStrUtil.h"
#include "util/bytes.h"
#include "util/narrow.h"

namespace {

/// Bytes; the length of an NQNarrowString has 24 bits.
constexpr std::uint32_t kMaxString = 0xFFFFFF;
/// Of the length before a text or bytes, at which an error about that length is reported.
constexpr std::uint32_t kLengthSize = 4;

bool startsWithEncoding(qvs::MessageKind kind) {
  switch (kind) {
    case qvs::MessageKind::kDataEx:
    case qvs::MessageKind::kContainerEx:
    case qvs::MessageKind::kCommandEx:
      return true;
    default:
      return false;
  }
}

std::string tooLong(std::string_view what, std::uint64_t length, std::string_view limit) {
  return std::string(what).append(std::to_string(length)).append(" is found greater than ").append(limit);
}

std::string_view asText(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// The new capacity of a buffer that has no room for `needed` bytes. Doubles up to 64 KiB, then adds that much.
std::uint64_t grownSize(std::uint64_t size, std::uint64_t needed) {
  const std::uint64_t grown = std::max<std::uint64_t>(size < 0x10001 ? 2 * size : size + 0x10000, 256);
  return grown < needed ? needed + 1024 : grown;
}

}  // namespace

NQDataParser::NQDataParser() : isWriting_(true), throwOnError_(true), memory_(NQMemoryPtr::make(0U)), allowance_(0) {}

NQDataParser::NQDataParser(std::span<const std::byte> bytes, bool throwOnError)
    : isWriting_(false),
      throwOnError_(throwOnError),
      buffer_(bytes.data()),
      length_(qvs::util::narrow<std::uint32_t>(bytes.size())),
      allowance_(bytes.size()) {}

NQDataParser::NQDataParser(const qvs::SingleMessagePtr& message, bool throwOnError)
    : NQDataParser(message->payload(), throwOnError) {
  // Keeps the block, not the message. The leading byte is skipped whatever it is; NQCommand checks it in raw payloads.
  memory_ = message->data();
  if (length_ > 0 && startsWithEncoding(message->kind())) position_ = 1;
}

void NQDataParser::flushErrorLog() {
  if (!errorLog_.empty()) writeParseLog(errorLog_);
}

double NQDataParser::readDouble() {
  return std::bit_cast<double>(readBigEndian(8));
}

NQTextPtr NQDataParser::readString(std::uint32_t length) {
  if (!has(length, "Length of string ")) return {};
  if (length > kMaxString) {
    reportError(position_, tooLong("Length of string ", length, std::to_string(kMaxString)));
    return {};
  }
  // The allowance before the copy: lengths are the sender's.
  if (length == 0 || !takeMemory(NQText::costOf(length))) return {};
  return makeText(asText(take(length)));
}

NQTextPtr NQDataParser::readName16() {
  const std::uint32_t length = readInt16();
  // Left to readString() to report.
  if (length > remaining()) return readString(length);
  const std::string_view name = asText({buffer_ + position_, length});
  NQTextPtr& recent = recentNames_[std::hash<std::string_view>()(name) % recentNames_.size()];
  if (!name.empty() && stringOf(recent.get()).view() == name) {
    position_ += length;
    return recent;
  }
  return recent = readString(length);
}

NQMemoryPtr NQDataParser::readBytes(std::uint32_t length) {
  if (!has(length, "Length of data ") || !takeMemory(sizeof(NQMemory) + length + 2 * ReadAllowance::kPerBlock))
    return {};
  auto memory = NQMemoryPtr::make(length);
  std::ranges::copy(take(length), memory->data());
  memory->setUsedLength(length);
  return memory;
}

std::span<const std::byte> NQDataParser::take(std::uint32_t length) {
  const std::span<const std::byte> view(buffer_ + position_, length);
  position_ += length;
  return view;
}

void NQDataParser::writeDouble(double value) {
  writeBigEndian(8, std::bit_cast<std::uint64_t>(value));
}

void NQDataParser::writeString16(std::string_view text) {
  // A writer always throws, so the cast below never cuts a length.
  if (!std::in_range<std::uint16_t>(text.size()))
    reportError(position_, tooLong("Length of string ", text.size(), "65535"));
  writeInt16(static_cast<std::uint16_t>(text.size()));
  writeBytes(qvs::util::asBytes(text));
}

void NQDataParser::writeString32(std::string_view text) {
  writeInt32(qvs::util::narrow<std::uint32_t>(text.size()));
  writeBytes(qvs::util::asBytes(text));
}

void NQDataParser::writeBytes(std::span<const std::byte> bytes) {
  std::ranges::copy(bytes, makeRoom(bytes.size()));
}

void NQDataParser::reportError(std::uint32_t position, std::string_view line) {
  const NQString dump = qvs::util::byteDump(buffer_, isWriting_ ? position_ : length_);
  NQString where;
  qvs::util::format(where, u"Error occured in serializing message buffer at position %x:\nMessage Buffer: (%S)",
                    position, dump.c_str());
  addErrorLine(std::string(qvs::util::toNarrow(where.view()).view()));
  addErrorLine(std::string(line));
  if (throwOnError_) throw NQBreakConnection(NQBreakConnection::kBadScriptData);
  // Nobody will catch anything, so the log is written here and now.
  flushErrorLog();
  errorFlag_ = true;
  position_ = length_;
}

bool NQDataParser::takeMemory(std::size_t bytes) {
  return isAllowed(allowance_.takeBytes(bytes));
}

bool NQDataParser::takeValue() {
  return isAllowed(allowance_.takeValue());
}

bool NQDataParser::isAllowed(bool isLeft) {
  // Once: after the first error the cursor is at the end, and callers may still ask on their way out.
  if (!isLeft && !errorFlag_)
    reportError(position_, "Values are found to be more than a message of this length may have");
  return isLeft;
}

bool NQDataParser::has(std::uint32_t length, std::string_view what) {
  if (length <= remaining()) return true;
  // At the length that is wrong, not after it; a position below 4 must not wrap.
  reportError(position_ - std::min(position_, kLengthSize),
              tooLong(what, length, "remaining bytes. Message data is not complete"));
  return false;
}

std::uint64_t NQDataParser::readBigEndian(std::uint32_t width) {
  if (remaining() < width) {
    reportError(position_, "Message data is not complete");
    return 0;
  }
  return qvs::util::loadBigEndian(take(width).data(), width);
}

void NQDataParser::writeBigEndian(std::uint32_t width, std::uint64_t value) {
  qvs::util::storeBigEndian(makeRoom(width), width, value);
}

std::byte* NQDataParser::makeRoom(std::size_t count) {
  const std::uint64_t needed = std::uint64_t{position_} + count;
  if (needed > length_) {
    const std::uint64_t grown = grownSize(length_, needed);
    // resize() returns false instead of throwing, so that what was written is still whole.
    if (!std::in_range<std::uint32_t>(grown) || !memory_->resize(static_cast<std::uint32_t>(grown)))
      throw NQOutOfMemory();
    buffer_ = memory_->data();
    length_ = memory_->capacity();
  }
  std::byte* const room = memory_->data() + position_;
  position_ = static_cast<std::uint32_t>(needed);
  return room;
}
