#include "util/scriptValue.h"

namespace qvs::util {
namespace {

constexpr int kMaxDepth = 16;

ScriptMarker readMarker(ByteReader& in) {
  return static_cast<ScriptMarker>(in.u8());
}

void skipValue(ByteReader& in, int depth);

/// Names and values up to an empty name and the marker of the end.
void skipMembers(ByteReader& in, int depth) {
  for (;;) {
    const std::uint16_t length = in.u16();
    in.skip(length);
    if (length != 0) {
      skipValue(in, depth + 1);
    } else if (readMarker(in) == ScriptMarker::kObjectEnd) {
      return;
    } else {
      throw MalformedInput("a value without a name");
    }
  }
}

void skipValue(ByteReader& in, int depth) {
  if (depth > kMaxDepth) throw MalformedInput("values too deep in one another");
  switch (readMarker(in)) {
    case ScriptMarker::kNumber:
      return in.skip(sizeof(double));
    case ScriptMarker::kFlag:
      return in.skip(1);
    case ScriptMarker::kText:
      return in.skip(in.u16());
    case ScriptMarker::kObject:
      return skipMembers(in, depth);
    case ScriptMarker::kNull:
    case ScriptMarker::kUndefined:
      return;
    case ScriptMarker::kNamedArray:
      in.skip(4);  // the count is a hint
      return skipMembers(in, depth);
    case ScriptMarker::kStrictArray:
      for (std::uint32_t left = in.u32(); left > 0; --left) skipValue(in, depth + 1);
      return;
    case ScriptMarker::kDate:
      return in.skip(8 + 2);
    case ScriptMarker::kLongText:
      return in.skip(in.u32());
    default:
      throw MalformedInput("a value of another kind");
  }
}

}  // namespace

void skipScriptValue(ByteReader& in) {
  skipValue(in, 0);
}

}  // namespace qvs::util
