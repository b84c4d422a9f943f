#include "wrappers/rkx/DRMMetadata.h"

#include "util/QVSException.h"
#include "wrappers/rkx/RKXException.h"
#include "wrappers/rkx/library.h"

namespace rkx {

DRMMetadata::DRMMetadata() : table_(&metadataTable()) {}

qvs::util::ByteBuffer DRMMetadata::bytes() const {
  std::uint32_t size = 0;
  check(table_->metadataSize(get(), &size));
  qvs::util::ByteBuffer block(size);
  // In: the room; out: what was written. Fewer bytes would leave zeros at the end of the block.
  std::uint32_t written = size;
  check(table_->copyMetadata(get(), reinterpret_cast<std::uint8_t*>(block.data()), &written));
  if (written != size) throw qvs::QVSException("The protection metadata has another size than it said.");
  return block;
}

}  // namespace rkx
