#pragma once

#include "tests/support/hex.h"
#include "util/bytes.h"

namespace test {

/// Script data in AMF0, value by value, written down here and not by the product's own writer:
///
///     Amf0().string("onMetaData").object().name("width").number(320).end()
class Amf0 {
 public:
  Amf0& number(double value) { return marker(0), out_.f64(value), *this; }
  Amf0& string(std::string_view text) { return marker(2).name(text); }
  Amf0& object() { return marker(3); }
  Amf0& null() { return marker(5); }
  /// An array by names, whose count is `count` whatever follows.
  Amf0& array(std::uint32_t count = 0) { return marker(8), out_.u32(count), *this; }
  Amf0& strictArray(std::uint32_t count) { return marker(10), out_.u32(count), *this; }
  /// Of the member that follows.
  Amf0& name(std::string_view text) {
    out_.u16(static_cast<std::uint16_t>(text.size()));
    out_.text(text);
    return *this;
  }
  /// Of as many objects or arrays.
  Amf0& end(int count = 1) {
    for (; count > 0; --count) name("").marker(9);
    return *this;
  }

  std::vector<std::byte> bytes() const { return {out_.bytes().begin(), out_.bytes().end()}; }
  /// To be joined to other hex.
  std::string hex() const { return test::hex(out_.bytes()) + ' '; }

 private:
  Amf0& marker(std::uint8_t byte) {
    out_.u8(byte);
    return *this;
  }

  qvs::util::ByteWriter out_;
};

}  // namespace test
