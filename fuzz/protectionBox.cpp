// Codec headers of protected tracks. What is taken apart is the input again, and comes of the writer.

#include "packaging/ProtectionBox.h"
#include "fuzz/fuzzing.h"

using namespace ruvo::k2rpkgutil;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const qvs::util::ByteBuffer header(std::as_bytes(std::span(data, size)));
  fuzz::takes<MalformedProtection>([&] {
    const ProtectedCodecHeader split = splitCodecHeader(header);
    qvs::util::ByteBuffer joined = split.codec;
    joined.append(split.sinf.bytes());
    fuzz::require(joined == header, "the parts are the whole");
  });
  return 0;
}
