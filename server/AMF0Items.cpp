#include "server/AMF0Items.h"

#include <limits>

#include "util/StreamReader.h"
#include "util/bytes.h"
#include "util/narrow.h"

namespace qvs::amfmessage {
namespace {

using util::ByteWriter;
using util::StreamReader;

// Of AMF0 (AMF 0 specification, 2.1), those that the items have.
enum Marker : std::uint8_t {
  kNumber = 0,
  kString = 2,
  kObject = 3,
  kArray = 8,
  kEnd = 9,
  kStrictArray = 10,
  kLongString = 12,
};

constexpr std::size_t kMaxShortString = 0xFFFF;

void expect(StreamReader& in, Marker marker) {
  if (in.u8() != marker) throw ParseException();
}

void write(std::ostream& out, const ByteWriter& bytes) {
  out.write(reinterpret_cast<const char*>(bytes.bytes().data()), static_cast<std::streamsize>(bytes.size()));
}

void readEnd(std::istream& stream) {
  StreamReader in(stream);
  // A name before the marker is no error: only the byte after it decides whether the object ends here.
  in.skip(in.u16());
  expect(in, kEnd);
}

void writeEnd(std::ostream& out) {
  ByteWriter bytes;
  bytes.u16(0);
  bytes.u8(kEnd);
  write(out, bytes);
}

std::uint32_t toCount(double number) {
  constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
  // Negated, so that not-a-number is 0 as well. A cast of what does not fit would be undefined.
  if (!(number > 0)) return 0;
  return number < kMost ? static_cast<std::uint32_t>(number) : kMost;
}

void readProperty(std::istream& in, std::string& name, AMF0Base& item) {
  // The name is set last: a property that cannot be read keeps its old one.
  AMF0NoHeaderString stored;
  stored.readFrom(in);
  item.readFrom(in);
  name = std::move(stored.value);
}

void writeProperty(std::ostream& out, const std::string& name, const AMF0Base& item) {
  AMF0NoHeaderString(name).writeTo(out);
  item.writeTo(out);
}

}  // namespace

void AMF0PropBase::readExpecting(std::istream& in, const std::string& expectedName) {
  readFrom(in);
  if (name != expectedName) throw ParseException();
}

void AMF0ObjectBegin::readFrom(std::istream& stream) {
  StreamReader in(stream);
  expect(in, kObject);
}

void AMF0ObjectBegin::writeTo(std::ostream& out) const {
  ByteWriter bytes;
  bytes.u8(kObject);
  write(out, bytes);
}

void AMF0ObjectEnd::readFrom(std::istream& in) {
  readEnd(in);
}

void AMF0ObjectEnd::writeTo(std::ostream& out) const {
  writeEnd(out);
}

void AMF0ArrayBegin::readFrom(std::istream& stream) {
  StreamReader in(stream);
  expect(in, kArray);
  if (in.u32() != 0) throw ParseException();
}

void AMF0ArrayBegin::writeTo(std::ostream& out) const {
  ByteWriter bytes;
  bytes.u8(kArray);
  bytes.u32(0);
  write(out, bytes);
}

void AMF0ArrayEnd::readFrom(std::istream& in) {
  readEnd(in);
}

void AMF0ArrayEnd::writeTo(std::ostream& out) const {
  writeEnd(out);
}

void AMF0StrictArrayBegin::readFrom(std::istream& stream) {
  StreamReader in(stream);
  expect(in, kStrictArray);
  count = in.u32();
}

void AMF0StrictArrayBegin::writeTo(std::ostream& out) const {
  ByteWriter bytes;
  bytes.u8(kStrictArray);
  bytes.u32(toCount(count));
  write(out, bytes);
}

void AMF0Number::readFrom(std::istream& stream) {
  StreamReader in(stream);
  expect(in, kNumber);
  value = in.f64();
}

void AMF0Number::writeTo(std::ostream& out) const {
  ByteWriter bytes;
  bytes.u8(kNumber);
  bytes.f64(value);
  write(out, bytes);
}

void AMF0String::readFrom(std::istream& stream) {
  StreamReader in(stream);
  const std::uint8_t marker = in.u8();
  if (marker != kString && marker != kLongString) throw ParseException();
  value = in.bytes(marker == kString ? in.u16() : in.u32());
}

void AMF0String::writeTo(std::ostream& out) const {
  ByteWriter bytes;
  if (value.size() <= kMaxShortString) {
    bytes.u8(kString);
    bytes.u16(static_cast<std::uint16_t>(value.size()));
  } else {
    bytes.u8(kLongString);
    bytes.u32(util::narrow<std::uint32_t>(value.size()));
  }
  bytes.text(value);
  write(out, bytes);
}

void AMF0NoHeaderString::readFrom(std::istream& stream) {
  StreamReader in(stream);
  value = in.bytes(in.u16());
}

void AMF0NoHeaderString::writeTo(std::ostream& out) const {
  // A name has no long form. Cutting the length instead would turn the rest of the name into items.
  if (value.size() > kMaxShortString) throw WriteException();
  ByteWriter bytes;
  bytes.u16(static_cast<std::uint16_t>(value.size()));
  bytes.text(value);
  write(out, bytes);
}

void AMF0PropObjectBegin::readFrom(std::istream& in) {
  AMF0ObjectBegin item;
  readProperty(in, name, item);
}

void AMF0PropObjectBegin::writeTo(std::ostream& out) const {
  writeProperty(out, name, AMF0ObjectBegin());
}

void AMF0PropNumber::readFrom(std::istream& in) {
  AMF0Number item;
  readProperty(in, name, item);
  value = item.value;
}

void AMF0PropNumber::writeTo(std::ostream& out) const {
  writeProperty(out, name, AMF0Number(value));
}

void AMF0PropString::readFrom(std::istream& in) {
  AMF0String item;
  readProperty(in, name, item);
  value = std::move(item.value);
}

void AMF0PropString::writeTo(std::ostream& out) const {
  writeProperty(out, name, AMF0String(value));
}

}  // namespace qvs::amfmessage
