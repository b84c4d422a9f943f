// Protection metadata: the input as a signed block, as the content of one, and as an opened key.

#include "fuzz/fuzzing.h"
#include "platform/encryption/krvo_unprotect.h"
#include "util/bytes.h"

using namespace krvo::encryption;

void fuzz::target(Bytes input) {
  takes<UnprotectError>([&] { verifyMetadataBlock(input); });
  require(ERR_peek_error() == 0, "the error queue is left as it was");
  takes<qvs::util::MalformedInput>([&] {
    const auto content = readMetadataContent(input);
    const auto written = writeMetadataContent(writeStatement(content.statement), content.wrappedKey);
    requireEqual(written, input, "there is one form of a content");
  });
  takes<qvs::util::MalformedInput>([&] {
    const auto read = readContentKey(input);
    const auto written = writeContentKey(read.key.bytes(), read.statementDigest);
    requireEqual(written.bytes(), input, "there is one form of a key");
  });
}
