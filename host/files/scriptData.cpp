#include "host/files/scriptData.h"

#include <cstdint>

namespace host {
namespace {

using qvs::util::ByteReader;
using qvs::util::MalformedInput;

constexpr int kMaxDepth = 16;
constexpr std::uint8_t kObjectEnd = 9;

void skipValue(ByteReader& in, int depth);

/// Names and values up to an empty name and the marker of the end.
void skipMembers(ByteReader& in, int depth) {
  for (;;) {
    const std::uint16_t length = in.u16();
    in.skip(length);
    if (length != 0) {
      skipValue(in, depth + 1);
    } else if (in.u8() == kObjectEnd) {
      return;
    } else {
      throw MalformedInput("a value without a name");
    }
  }
}

void skipValue(ByteReader& in, int depth) {
  if (depth > kMaxDepth) throw MalformedInput("values too deep in one another");
  switch (in.u8()) {
    case 0:  // number
      return in.skip(8);
    case 1:  // flag
      return in.skip(1);
    case 2:  // text
      return in.skip(in.u16());
    case 3:  // object
      return skipMembers(in, depth);
    case 5:  // null
    case 6:  // undefined
      return;
    case 8:  // named array; the count is a hint
      in.skip(4);
      return skipMembers(in, depth);
    case 10:  // strict array
      for (std::uint32_t left = in.u32(); left > 0; --left) skipValue(in, depth + 1);
      return;
    case 11:  // date
      return in.skip(8 + 2);
    case 12:  // long text
      return in.skip(in.u32());
    default:
      throw MalformedInput("a value of another kind");
  }
}

}  // namespace

void skipScriptValue(ByteReader& in) {
  skipValue(in, 0);
}

}  // namespace host
