#include "packaging/ProtectionBox.h"

#include <string>

#include "packaging/CodecBoxes.h"
#include "util/box.h"

namespace ruvo::k2rpkgutil {
namespace {

using namespace qvs::util;

constexpr std::uint32_t kSchemeVersion = 1;
constexpr std::uint8_t kKeySize = 16;
constexpr std::uint8_t kVectorSize = 16;
/// A sample may be in the clear; its filter parameters say so. Readers depend on it, since not all samples are
/// encrypted.
constexpr std::uint8_t kSelectiveEncryption = 0x80;

void writeKeyAndAlgorithm(ByteWriter& out, std::string_view metadataText) {
  const BoxScope header(out, "ahdr"_4cc, 2, 0);
  const BoxScope parameters(out, "aprm"_4cc, 1, 0);
  {
    const BoxScope algorithm(out, "aeib"_4cc, 1, 0);
    out.text("AES-CBC");
    out.u8(0);
    out.u8(kKeySize);
  }
  const BoxScope key(out, "akey"_4cc, 1, 0);
  const BoxScope metadata(out, "flxs"_4cc);
  out.text(metadataText);
  out.u8(0);
}

void writeSampleFormat(ByteWriter& out) {
  const BoxScope format(out, "adaf"_4cc, 0, 0);
  out.u8(kSelectiveEncryption);
  out.u8(0);
  out.u8(kVectorSize);
}

ByteReader openFullBox(ByteReader& in, FourCC type) {
  ByteReader payload = openBox(in, type);
  readVersionAndFlags(payload);
  return payload;
}

struct SinfContent {
  FourCC clearFormat = 0;
  std::string metadataText;
};

/// Reads only what differs from box to box. The versions, flags and fixed values are checked by splitCodecHeader(),
/// which writes the box anew and compares.
SinfContent readSinf(ByteReader in) {
  SinfContent content;
  ByteReader sinf = openBox(in, "sinf"_4cc);
  content.clearFormat = openBox(sinf, "frma"_4cc).u32();
  openBox(sinf, "schm"_4cc);
  ByteReader scheme = openBox(sinf, "schi"_4cc);
  ByteReader management = openFullBox(scheme, "adkm"_4cc);
  ByteReader header = openFullBox(management, "ahdr"_4cc);
  ByteReader parameters = openFullBox(header, "aprm"_4cc);
  openBox(parameters, "aeib"_4cc);
  ByteReader key = openFullBox(parameters, "akey"_4cc);
  ByteReader metadata = openBox(key, "flxs"_4cc);
  metadata.need(1);  // the zero byte; without it the subtraction below would wrap around
  const auto text = metadata.bytes(metadata.remaining() - 1);
  content.metadataText.assign(reinterpret_cast<const char*>(text.data()), text.size());
  return content;
}

}  // namespace

FourCC protectedFormat(FourCC handlerCode) {
  switch (handlerCode) {
    case "vide"_4cc:
      return "encv"_4cc;
    case "soun"_4cc:
      return "enca"_4cc;
    default:
      return "encr"_4cc;
  }
}

bool isProtectedFormat(FourCC code) {
  return code == "encv"_4cc || code == "enca"_4cc || code == "encr"_4cc;
}

ByteBuffer makeSinfBox(FourCC clearFormat, std::string_view metadataText) {
  ByteWriter out;
  {
    const BoxScope sinf(out, "sinf"_4cc);
    {
      const BoxScope format(out, "frma"_4cc);
      out.u32(clearFormat);
    }
    {
      const BoxScope schemeType(out, "schm"_4cc, 1, 0);
      out.text("adkm");
      out.u32(kSchemeVersion);
    }
    const BoxScope scheme(out, "schi"_4cc);
    const BoxScope management(out, "adkm"_4cc, 1, 0);
    writeKeyAndAlgorithm(out, metadataText);
    writeSampleFormat(out);
  }
  return ByteBuffer(out.bytes());
}

ProtectedCodecHeader splitCodecHeader(const ByteBuffer& header) {
  const auto box = fromSinfBox(header);
  auto [codec, sinf] = header.split(header.size() - box.size());
  SinfContent content;
  try {
    content = readSinf(ByteReader(box));
  } catch (const MalformedInput&) {
    throw MalformedProtection();
  }
  // A comparison of all bytes instead of a check for each field: an append copies this box into its own segments, so
  // anything that the module would not write must not be carried on.
  if (sinf != makeSinfBox(content.clearFormat, content.metadataText)) throw MalformedProtection();
  return {.clearFormat = content.clearFormat, .codec = std::move(codec), .sinf = std::move(sinf)};
}

}  // namespace ruvo::k2rpkgutil
