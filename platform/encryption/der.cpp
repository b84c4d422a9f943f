#include "platform/encryption/der.h"

#include <openssl/asn1.h>

#include "platform/encryption/openssl.h"
#include "util/narrow.h"

namespace krvo::encryption {
namespace {

using qvs::util::MalformedInput;

// The identifier byte: whether the content is made of values, and the number of the type.
constexpr int kConstructedBit = 0x20;
constexpr int kTypeNumberMask = 0x1F;

int isConstructed(DerTag tag) {
  return (static_cast<int>(tag) & kConstructedBit) != 0 ? 1 : 0;
}

int typeNumber(DerTag tag) {
  return static_cast<int>(tag) & kTypeNumberMask;
}

}  // namespace

void writeDer(qvs::util::ByteWriter& out, DerTag tag, std::span<const std::byte> content) {
  // One byte of type and at most five of length.
  std::byte header[6];
  unsigned char* at = raw(header);
  ASN1_put_object(&at, isConstructed(tag), qvs::util::narrow<int>(content.size()), typeNumber(tag), V_ASN1_UNIVERSAL);
  out.bytes(std::span(header, static_cast<std::size_t>(at - raw(header))));
  out.bytes(content);
}

std::span<const std::byte> readDer(qvs::util::ByteReader& in, DerTag tag) {
  // OpenSSL leaves a complaint in the thread's queue for a malformed value.
  const ErrorQueueScope errors;
  qvs::util::ByteReader ahead = in;
  if (ahead.u8() != static_cast<std::uint8_t>(tag)) throw MalformedInput("DER: another type than expected");
  ahead = in;
  const auto rest = ahead.bytes(ahead.remaining());
  const unsigned char* at = raw(rest.data());
  long length = 0;
  int number = 0;
  int valueClass = 0;
  constexpr int kFailedOrIndefinite = 0x81;
  const int form = ASN1_get_object(&at, &length, &number, &valueClass, qvs::util::narrow<long>(rest.size()));
  if ((form & kFailedOrIndefinite) != 0) throw MalformedInput("DER: a length of no definite form, or beyond the input");
  const auto headerSize = at - raw(rest.data());
  // OpenSSL also reads BER, where a length may have bytes that it does not need; a signature would not cover its form.
  if (headerSize + length != ASN1_object_size(isConstructed(tag), static_cast<int>(length), number)) {
    throw MalformedInput("DER: a length that is not in its shortest form");
  }
  in.skip(static_cast<std::uint64_t>(headerSize));
  return in.bytes(static_cast<std::uint64_t>(length));
}

std::span<const std::byte> readWholeDer(qvs::util::ByteReader& in, std::span<const std::byte> input, DerTag tag) {
  const auto begin = in.position();
  readDer(in, tag);
  return input.subspan(begin, in.position() - begin);
}

}  // namespace krvo::encryption
