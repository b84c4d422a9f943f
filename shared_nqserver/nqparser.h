#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "shared_nqserver/NQText.h"
#include "shared_nqserver/ReadAllowance.h"
#include "shared_nqserver/nqmessage.h"
#include "util/NQMemory.h"
#include "util/NQThrowable.h"

/// A cursor over script data, big-endian, that either reads a buffer or writes a growing buffer that it owns, and
/// collects the lines of an error log. The constructor decides the direction; operations of the other direction must
/// not be called. Belongs to one thread for its whole life.
///
/// A read that fails yields 0 or null and is reported. With `throwOnError` that is an NQBreakConnection with
/// kBadScriptData. Without it the error flag is set, the parse log is written, and the cursor moves to the end, so that
/// all later reads fail at once and every loop ends. A writer always throws. A payload that would become more values or
/// more memory than its ReadAllowance has is refused like a malformed one.
class NQDataParser {
 public:
  /// Replaces the parse log (see parseLog.h) by the lines of the error log; does nothing without lines.
  virtual void flushErrorLog();

  bool isWriting() const { return isWriting_; }
  /// Whether a read has failed without `throwOnError`. Never reset.
  bool errorFlag() const { return errorFlag_; }
  /// The cursor, in bytes from the front.
  std::uint32_t position() const { return position_; }
  /// Bytes of the buffer when reading; its capacity when writing.
  std::uint32_t length() const { return length_; }
  /// Compare a count from the input with it before memory is taken.
  std::uint32_t remaining() const { return length_ - position_; }
  /// What a writer prefers: 0 for AMF0, 3 for AMF3. Reading does not use it.
  std::uint8_t encoding() const { return encoding_; }
  void setEncoding(std::uint8_t encoding) { encoding_ = encoding; }
  /// The bytes up to the cursor. A view, valid until the next write.
  std::span<const std::byte> written() const { return {buffer_, position_}; }

  /// The lines since the last clearErrorLog(), the fault first and what was being done after it.
  const std::vector<std::string>& errorLog() const { return errorLog_; }
  void addErrorLine(std::string line) { errorLog_.push_back(std::move(line)); }
  void clearErrorLog() { errorLog_.clear(); }

 protected:
  /// A writer.
  NQDataParser();
  /// A reader of `bytes`, which outlive the parser. Throws std::out_of_range from 4 GiB on.
  NQDataParser(std::span<const std::byte> bytes, bool throwOnError);
  /// A reader of the payload of a message, which must not be changed meanwhile; its block is kept. One leading byte of
  /// an Ex kind, the encoding, is skipped.
  NQDataParser(const qvs::SingleMessagePtr& message, bool throwOnError);
  NQDataParser(const NQDataParser&) = delete;
  NQDataParser& operator=(const NQDataParser&) = delete;
  ~NQDataParser() = default;

  // Numbers, the highest byte first; 0 on an error.
  std::uint8_t readByte() { return static_cast<std::uint8_t>(readBigEndian(1)); }
  std::uint16_t readInt16() { return static_cast<std::uint16_t>(readBigEndian(2)); }
  std::uint32_t readInt32() { return static_cast<std::uint32_t>(readBigEndian(4)); }
  std::int64_t readInt64() { return static_cast<std::int64_t>(readBigEndian(8)); }
  double readDouble();
  /// A text after its length in 16 or 32 bits, or of a given length in bytes. Null for an empty one and on an error, of
  /// which one is a length above 0xFFFFFF: NQNarrowString has 24 bits.
  NQTextPtr readString16() { return readString(readInt16()); }
  NQTextPtr readString32() { return readString(readInt32()); }
  NQTextPtr readString(std::uint32_t length);
  /// As readString16, for the names of members: a name that was read shortly before is shared and costs no memory.
  NQTextPtr readName16();
  /// A copy of the next `length` bytes; null, and an error, if there are fewer.
  NQMemoryPtr readBytes(std::uint32_t length);
  /// A view of the next `length` bytes. Unchecked: the caller has compared with remaining().
  std::span<const std::byte> take(std::uint32_t length);

  // Numbers, the highest byte first.
  void writeByte(std::uint8_t value) { writeBigEndian(1, value); }
  void writeInt16(std::uint16_t value) { writeBigEndian(2, value); }
  void writeInt32(std::uint32_t value) { writeBigEndian(4, value); }
  void writeDouble(double value);
  /// A text after its length, in 16 bits; more than 65535 bytes are an error.
  void writeString16(std::string_view text);
  /// The same in 32 bits. Throws std::out_of_range from 4 GiB on.
  void writeString32(std::string_view text);
  void writeBytes(std::span<const std::byte> bytes);

  // Take from the payload's allowance; if it is used up, they report an error and return false.

  bool takeMemory(std::size_t bytes);
  bool takeValue();

  /// Reports a fault at a byte offset, as described at the class. Without `throwOnError` it returns.
  void reportError(std::uint32_t position, std::string_view line);
  /// Runs `operation` and returns its result. If it throws for malformed script data, adds a line to the error log that
  /// says what was being done, so that the log leads from the fault outwards.
  template <typename Operation>
  auto inContext(const char* line, const Operation& operation) {
    try {
      return operation();
    } catch (const NQBreakConnection& broken) {
      if (broken.code() == NQBreakConnection::kBadScriptData) addErrorLine(line);
      throw;
    }
  }

 private:
  /// Reports the error if `isLeft` is false, and returns it.
  bool isAllowed(bool isLeft);
  /// Whether `length` bytes are left; reports an error if not. `what` begins its text.
  bool has(std::uint32_t length, std::string_view what);
  /// `width` bytes, at most 8.
  std::uint64_t readBigEndian(std::uint32_t width);
  void writeBigEndian(std::uint32_t width, std::uint64_t value);
  /// Makes room for `count` bytes at the cursor, moves the cursor after them and returns their place. Throws
  /// NQOutOfMemory.
  std::byte* makeRoom(std::size_t count);

  bool errorFlag_ = false;
  bool isWriting_;
  bool throwOnError_;
  const std::byte* buffer_ = nullptr;
  std::uint32_t position_ = 0;
  std::uint32_t length_ = 0;
  std::uint8_t encoding_ = 0;
  std::vector<std::string> errorLog_;
  /// The block of the buffer; null if the buffer is the caller's.
  NQMemoryPtr memory_;
  /// What the payload may still become; not used for writing.
  ReadAllowance allowance_;
  /// Names read last, by their hash. A cache of fixed size: a table of all names would itself be memory for a sender to
  /// fill.
  std::array<NQTextPtr, 32> recentNames_;
};
