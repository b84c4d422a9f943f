#include "host/files/protection.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <algorithm>
#include <sstream>

#include "fragmentation/AdditionalHeader.h"
#include "fragmentation/base64.h"
#include "host/files/Malformed.h"
#include "host/files/smallFiles.h"
#include "packaging/ProtectionBox.h"
#include "platform/container/reading/sampleEntry.h"
#include "util/bytes.h"
#include "util/narrow.h"

namespace host {

using krvo::container::SampleDescription;
using qvs::util::asBytes;
using qvs::util::ByteBuffer;
using qvs::util::ByteReader;

namespace {

// What follows the metadata text in a `sinf`: its terminator, and an `adaf` box.
constexpr std::size_t kAfterText = 1 + 15;

constexpr std::uint8_t kStringMarker = 2;
constexpr std::uint8_t kLongStringMarker = 12;

constexpr std::string_view kFilterName = "AES128CBC";
constexpr std::size_t kVectorSize = 16;
constexpr std::byte kEncrypted{0x80};
constexpr std::byte kClear{0x00};

std::string textOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// The metadata text in a `sinf`. Its place is computed from an empty box, so that the layout has one home.
std::string metadataOf(const ruvo::k2rpkgutil::ProtectedCodecHeader& header) {
  const auto sinf = header.sinf.bytes();
  const std::size_t around = ruvo::k2rpkgutil::makeSinfBox(header.clearFormat, {}).bytes().size();
  return textOf(sinf.subspan(around - kAfterText, sinf.size() - around));
}

/// The `.drmmeta` file that a recorder writes for that text.
std::string drmMetaImage(const std::string& metadata) {
  std::ostringstream out;
  ruvo::k2r::writeAdditionalHeader(out, {.metadata = metadata});
  return std::move(out).str();
}

/// Offset of the metadata in a `.drmmeta` file, with its marker. Found by comparing two images, so that the layout has
/// one home: texts of one and two bytes first differ in the low byte of the length, two bytes after the marker.
std::size_t metadataPlace() {
  return *firstDifference(asBytes(drmMetaImage("a")), asBytes(drmMetaImage("bb"))) - 2;
}

[[noreturn]] void failFilter(std::uint64_t offset, const std::string& reason) {
  throw Malformed(offset, "tag: " + reason);
}

/// Reads the fields before the parameters into `filter`. Returns how many bytes the parameters have, by these fields.
std::uint32_t readFilterFront(FileView& file, std::uint64_t data, std::uint32_t parameters, TagFilter& filter) {
  constexpr std::size_t kFixed = 1 + kFilterName.size() + 1 + 3;
  const std::size_t front = std::min<std::size_t>(parameters, kFixed);
  filter.clearBytes = static_cast<std::uint32_t>(parameters - front);
  ByteReader in(file.view(data + filter.clearBytes, front));
  filter.count = in.u8();
  filter.name = textOf(in.bytes(front - 1 - 1 - 3));
  in.skip(1);
  const std::uint32_t size = in.u24();
  if (filter.count != 1) failFilter(data + filter.clearBytes, fmt::format("{} filters, expected 1", filter.count));
  if (filter.name != kFilterName)
    failFilter(data + filter.clearBytes + 1, "another filter than " + std::string(kFilterName));
  return size;
}

}  // namespace

std::optional<TrackProtection> readProtection(const SampleDescription& description) {
  if (!ruvo::k2rpkgutil::isProtectedFormat(description.formatCode)) return std::nullopt;
  try {
    const auto header =
        ruvo::k2rpkgutil::splitCodecHeader(ByteBuffer{std::span<const std::byte>(description.codecHeader)});
    TrackProtection protection{description, metadataOf(header)};
    protection.clear.formatCode = krvo::container::storedFormatCode(header.clearFormat);
    const auto codec = header.codec.bytes();
    protection.clear.codecHeader.assign(codec.begin(), codec.end());
    return protection;
  } catch (const ruvo::k2rpkgutil::MalformedProtection&) {
    throw Malformed(0, "sinf: not as a recorder writes it");
  }
}

std::string readDrmMeta(std::span<const std::byte> bytes) {
  const auto fail = [](std::uint64_t offset) { throw Malformed(offset, "protection: not as a recorder writes it"); };
  const std::size_t place = metadataPlace();
  if (bytes.size() < place) fail(bytes.size());
  std::string text;
  try {
    ByteReader in(bytes.subspan(place));
    const std::uint8_t marker = in.u8();
    if (marker != kStringMarker && marker != kLongStringMarker) fail(place);
    text = textOf(in.bytes(marker == kStringMarker ? in.u16() : in.u32()));
  } catch (const qvs::util::MalformedInput&) {
    fail(bytes.size());
  }
  // The whole file is compared with what a recorder writes: no other field of it is read.
  if (const auto difference = firstDifference(asBytes(drmMetaImage(text)), bytes)) fail(*difference);
  return text;
}

std::vector<std::byte> metadataBlock(std::string_view text) {
  std::vector<std::byte> block(text.size() / 4 * 3);
  const int size =
      EVP_DecodeBlock(reinterpret_cast<unsigned char*>(block.data()),
                      reinterpret_cast<const unsigned char*>(text.data()), qvs::util::narrow<int>(text.size()));
  // OpenSSL decodes the padding, too, as zero bits.
  const auto padding = std::min<std::size_t>(static_cast<std::size_t>(std::ranges::count(text, '=')), 2);
  block.resize(std::max(static_cast<std::size_t>(std::max(size, 0)), padding) - padding);
  // Encoded again, so that every deviation is found: other alphabets, line ends, bits in the padding.
  if (text.empty() || ruvo::k2r::base64Encode(block) != text) throw Malformed(0, "metadata: not Base64");
  return block;
}

TagFilter readTagFilter(FileView& file, const TagContent& tag) {
  const std::uint64_t data = tag.place.dataOffset();
  if (!tag.sampleOffset) failFilter(data, "no whole filter fields of a protected tag");
  TagFilter filter;
  const std::uint32_t parameters = *tag.sampleOffset;
  const std::uint32_t size = readFilterFront(file, data, parameters, filter);
  const std::uint32_t left = tag.place.dataSize - parameters;
  // A recorder writes either no vector or a whole one.
  if (size > left || (size != 1 && size != 1 + kVectorSize)) {
    failFilter(data + parameters - 3, fmt::format("filter parameters of {} bytes", size));
  }
  const auto read = file.view(data + parameters, size);
  filter.encrypted = size != 1;
  if (read.front() != (filter.encrypted ? kEncrypted : kClear)) {
    failFilter(data + parameters, "filter parameters that say neither encrypted nor clear");
  }
  filter.vector.assign(read.begin() + 1, read.end());
  filter.payloadOffset = parameters + size;
  constexpr std::uint32_t kBlock = 16;
  const std::uint32_t payload = tag.place.dataSize - filter.payloadOffset;
  if (filter.encrypted && (payload == 0 || payload % kBlock != 0)) {
    failFilter(data + filter.payloadOffset, fmt::format("a cipher text of {} bytes", payload));
  }
  return filter;
}

}  // namespace host
