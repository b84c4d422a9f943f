// Codec headers of protected tracks. If one can be taken apart, the writer makes the same bytes of its parts.

#include "packaging/ProtectionBox.h"
#include "fuzz/fuzzing.h"

using namespace ruvo::k2rpkgutil;

void fuzz::target(Bytes input) {
  takes<MalformedProtection>([&] {
    const ProtectedCodecHeader split = splitCodecHeader(qvs::util::ByteBuffer(input));
    qvs::util::ByteBuffer joined = split.codec;
    joined.append(split.sinf.bytes());
    requireEqual(joined.bytes(), input, "the parts are the whole");
  });
}
