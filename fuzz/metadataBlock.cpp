// Protection metadata: the input as a signed block, as the content of one, and as an opened key.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "fuzz/fuzzing.h"
#include "platform/encryption/unprotect.h"
#include "util/bytes.h"

namespace {

using namespace krvo::encryption;
using fuzz::require;

void readAsBlock(std::span<const std::byte> input) {
  try {
    require(verifyMetadataBlock(input).signerFingerprint.size() == 64, "a fingerprint of 32 bytes");
  } catch (const UnprotectError&) {
    // What most inputs are.
  }
  require(ERR_peek_error() == 0, "the error queue is left as it was");
}

void readAsContent(std::span<const std::byte> input) {
  try {
    const auto content = readMetadataContent(input);
    const auto written = writeMetadataContent(writeStatement(content.statement), content.wrappedKey);
    require(std::ranges::equal(written, input), "there is one form of a content");
  } catch (const qvs::util::MalformedInput&) {
  }
}

void readAsKey(std::span<const std::byte> input) {
  try {
    const auto read = readContentKey(input);
    require(std::ranges::equal(writeContentKey(read.key.bytes(), read.statementDigest).bytes(), input),
            "there is one form of a key");
  } catch (const qvs::util::MalformedInput&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto input = std::as_bytes(std::span(data, size));
  readAsBlock(input);
  readAsContent(input);
  readAsKey(input);
  return 0;
}
