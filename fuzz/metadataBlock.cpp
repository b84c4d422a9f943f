// Protection metadata: the input as a signed block, as the content of one, and as an opened key.

#include <algorithm>

#include "fuzz/fuzzing.h"
#include "platform/encryption/unprotect.h"
#include "util/bytes.h"

namespace {

using namespace krvo::encryption;
using fuzz::require;

void readAsBlock(std::span<const std::byte> input) {
  fuzz::takes<UnprotectError>(
      [&] { require(verifyMetadataBlock(input).signerFingerprint.size() == 64, "a fingerprint of 32 bytes"); });
  require(ERR_peek_error() == 0, "the error queue is left as it was");
}

void readAsContent(std::span<const std::byte> input) {
  fuzz::takes<qvs::util::MalformedInput>([&] {
    const auto content = readMetadataContent(input);
    const auto written = writeMetadataContent(writeStatement(content.statement), content.wrappedKey);
    require(std::ranges::equal(written, input), "there is one form of a content");
  });
}

void readAsKey(std::span<const std::byte> input) {
  fuzz::takes<qvs::util::MalformedInput>([&] {
    const auto read = readContentKey(input);
    require(std::ranges::equal(writeContentKey(read.key.bytes(), read.statementDigest).bytes(), input),
            "there is one form of a key");
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto input = std::as_bytes(std::span(data, size));
  readAsBlock(input);
  readAsContent(input);
  readAsKey(input);
  return 0;
}
