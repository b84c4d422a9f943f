#include "fragmentation/BoxHeader.h"

#include "util/box.h"

namespace ruvo::k2r {

using namespace qvs::util;

BoxHeader readBoxHeader(StreamReader& in) {
  BoxHeader header;
  // Nothing is skipped by this size, so no value of it is dangerous here; util/box.h checks sizes for readers in
  // memory.
  const SizeAndType front = readSizeAndType(in);
  header.type = front.type;
  header.size = front.size;
  if (header.type == "uuid"_4cc) header.uuid = in.bytes(16);
  header.version = in.u8();
  header.flags = in.u24();
  return header;
}

}  // namespace ruvo::k2r
