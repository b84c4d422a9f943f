// Reads the adaptor's own settings from the host.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <string>

#include "modules/streams/k2r/k2rAdaptor.h"
#include "util/memoryLayer.h"

namespace qvs::k2r {
namespace {

namespace memory = util::memory;

/// Bytes offered for the text of a setting, before the host asks for more.
constexpr std::uint32_t kFirstBufferSize = 64;

/// Owns the block, which the reader may reallocate, even if the reader throws.
struct TextBlock {
  explicit TextBlock(std::uint32_t size) : text(static_cast<char*>(memory::cAllocation.malloc(size))) {}
  ~TextBlock() { memory::cAllocation.free(text); }
  TextBlock(const TextBlock&) = delete;
  TextBlock& operator=(const TextBlock&) = delete;

  char* text;
};

/// The number at the start of a text; 0 if there is none, the nearest number if it is too large.
std::int64_t toNumber(const std::string& text) {
  return std::strtoll(text.c_str(), nullptr, 10);
}

/// The text of a setting, read through the adaptor's virtual reader.
std::optional<std::string> readText(k2rAdaptor& adaptor, const char* key) {
  std::uint32_t length = kFirstBufferSize;
  TextBlock block(length);
  if (block.text == nullptr) return std::nullopt;
  std::memset(block.text, 0, length);
  if (!adaptor.readConfig(key, &block.text, length)) return std::nullopt;
  return std::string(block.text, strnlen(block.text, length));
}

}  // namespace

void k2rAdaptor::config() {
  constexpr std::uint32_t kNoMaximum = std::numeric_limits<std::uint32_t>::max();
  readConfigBool("k2r/WarningsAsErrors", config_.warningsAsErrors);
  readConfigBool("k2r/EnableAggMsgs", config_.enableAggregateMessages);
  readConfigUnsigned("k2r/MaxAggMsgSize", config_.maxAggregateMessageSize, 0, kNoMaximum);
  readConfigUnsigned("k2r/MaxEraseRetries", config_.maxEraseRetries, 0, kNoMaximum);
}

bool k2rAdaptor::readConfig(const char* key, char** value, std::uint32_t& length) {
  if (key == nullptr || value == nullptr || *value == nullptr) return false;
  // 0: the text is in the block. Above 0: the size that the text needs. Below: no such key.
  const std::int32_t result = context_->readConfiguration(key, value, length);
  if (result <= 0) return result == 0;
  length = static_cast<std::uint32_t>(result);
  char* const grown = static_cast<char*>(memory::cAllocation.realloc(*value, length));
  if (grown == nullptr) return false;
  *value = grown;
  std::memset(grown, 0, length);
  return context_->readConfiguration(key, value, length) == 0;
}

bool k2rAdaptor::readConfigBool(const char* key, bool& value) {
  const auto text = readText(*this, key);
  if (!text) return false;
  if (*text == (value ? "false" : "true")) value = !value;
  return true;
}

bool k2rAdaptor::readConfigUnsigned(const char* key, std::uint32_t& value, std::uint32_t minimum,
                                    std::uint32_t maximum) {
  const auto text = readText(*this, key);
  if (!text) return false;
  const std::int64_t number = std::max<std::int64_t>(toNumber(*text), 0);
  if (number >= minimum && number <= maximum) value = static_cast<std::uint32_t>(number);
  return true;
}

bool k2rAdaptor::readConfigInt(const char* key, std::int32_t& value) {
  const auto text = readText(*this, key);
  if (!text) return false;
  value = static_cast<std::int32_t>(toNumber(*text));
  return true;
}

}  // namespace qvs::k2r
