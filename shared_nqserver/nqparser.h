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

/// A cursor over script data, big-endian, that either reads a buffer or writes a growing one of its own, and keeps a
/// log of what went wrong. Belongs to one thread for its whole life.
///
/// What cannot be read yields 0 or nothing and is reported: with `throwOnError` by an NQBreakConnection with
/// kBadScriptData, else by the error flag and the parse log, with the cursor at the end. A writer always throws. A
/// payload of more values, or of more memory, than its ReadAllowance is refused like a malformed one.
class NQDataParser {
 public:
  /// Replaces the log file by the lines of the error log; nothing without lines.
  virtual void flushErrorLog();

  bool isWriting() const { return isWriting_; }
  bool errorFlag() const { return errorFlag_; }
  std::uint32_t position() const { return position_; }
  /// Of the buffer: all its bytes when reading, those that there is room for when writing.
  std::uint32_t length() const { return length_; }
  std::uint32_t remaining() const { return length_ - position_; }
  /// 0 for AMF0, 3 for AMF3.
  std::uint8_t encoding() const { return encoding_; }
  void setEncoding(std::uint8_t encoding) { encoding_ = encoding; }
  /// The bytes up to the cursor. A view, until the next write.
  std::span<const std::byte> written() const { return {buffer_, position_}; }

  const std::vector<std::string>& errorLog() const { return errorLog_; }
  void addErrorLine(std::string line) { errorLog_.push_back(std::move(line)); }
  void clearErrorLog() { errorLog_.clear(); }

 protected:
  /// Writes.
  NQDataParser();
  /// Reads `bytes`, which outlive the parser.
  NQDataParser(std::span<const std::byte> bytes, bool throwOnError);
  /// Reads the payload of a message, which stays as it is meanwhile; one leading byte of an Ex kind is passed over.
  NQDataParser(const qvs::SingleMessagePtr& message, bool throwOnError);
  NQDataParser(const NQDataParser&) = delete;
  NQDataParser& operator=(const NQDataParser&) = delete;
  ~NQDataParser() = default;

  std::uint8_t readByte() { return static_cast<std::uint8_t>(readBigEndian(1)); }
  std::uint16_t readInt16() { return static_cast<std::uint16_t>(readBigEndian(2)); }
  std::uint32_t readInt32() { return static_cast<std::uint32_t>(readBigEndian(4)); }
  std::int64_t readInt64() { return static_cast<std::int64_t>(readBigEndian(8)); }
  double readDouble();
  /// A text behind its length, which NQNarrowString can hold.
  NQTextPtr readString16() { return readString(readInt16()); }
  NQTextPtr readString32() { return readString(readInt32()); }
  NQTextPtr readString(std::uint32_t length);
  /// The same as readString16, for the names of members: one that was read a short while ago is shared.
  NQTextPtr readName16();
  /// A copy of the next bytes; null where there are fewer.
  NQMemoryPtr readBytes(std::uint32_t length);
  /// A view of the next bytes, where it was seen that they are there.
  std::span<const std::byte> take(std::uint32_t length);

  void writeByte(std::uint8_t value) { writeBigEndian(1, value); }
  void writeInt16(std::uint16_t value) { writeBigEndian(2, value); }
  void writeInt32(std::uint32_t value) { writeBigEndian(4, value); }
  void writeDouble(double value);
  /// A text behind its length. One of more than 65535 bytes is an error.
  void writeString16(std::string_view text);
  void writeString32(std::string_view text);
  void writeBytes(std::span<const std::byte> bytes);

  // Take from the payload's allowance; where that is used up it is an error, and false.

  bool takeMemory(std::size_t bytes);
  bool takeValue();

  /// Tells what went wrong at a position, as told at the class.
  void reportError(std::uint32_t position, std::string_view line);
  /// Runs `operation`; where it throws for bad script data, adds a line that tells what was being done.
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
  bool isAllowed(bool isLeft);
  /// Whether as many bytes are left; reports an error where there are fewer.
  bool has(std::uint32_t length, std::string_view what);
  std::uint64_t readBigEndian(std::uint32_t width);
  void writeBigEndian(std::uint32_t width, std::uint64_t value);
  /// Room for `count` bytes at the cursor, which then stands behind them. Throws NQOutOfMemory.
  std::byte* makeRoom(std::size_t count);

  bool errorFlag_ = false;
  bool isWriting_;
  bool throwOnError_;
  const std::byte* buffer_ = nullptr;
  std::uint32_t position_ = 0;
  std::uint32_t length_ = 0;
  std::uint8_t encoding_ = 0;
  std::vector<std::string> errorLog_;
  /// Holds the buffer, unless that is a caller's.
  NQMemoryPtr memory_;
  ReadAllowance allowance_;
  /// By a hash.
  std::array<NQTextPtr, 32> recentNames_;
};
