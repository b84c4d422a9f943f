#include "platform/container/Movie.h"

#include "util/bytes.h"

namespace krvo::container {

bool isAvc(const SampleDescription& description) {
  if (description.formatCode == "avc1"_4cc) return true;
  if (description.formatCode != "encv"_4cc || description.codecHeader.size() < 8) return false;
  qvs::util::ByteReader header(description.codecHeader);
  header.skip(4);
  return header.u32() == "avcC"_4cc;
}

}  // namespace krvo::container
