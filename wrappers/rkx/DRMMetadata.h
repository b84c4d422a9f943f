#pragma once

#include "util/ByteBuffer.h"
#include "wrappers/rkx/CSmartPtrBase.h"

namespace rkx {

/// A counted handle on a block of protection metadata, a CMS structure (RFC 5652) that is opaque here. Made by an
/// encryptor; may outlive it. Empty if the library made none.
class DRMMetadata : public CSmartPtrBase {
 public:
  /// A copy of the whole block. Not for an empty handle. Throws RKXException, and QVSException if the library writes
  /// another size than it said.
  qvs::util::ByteBuffer bytes() const;

 private:
  friend class RKXEncryptor;
  /// An empty handle. Throws RKXException if the library has no table for metadata.
  DRMMetadata();

  /// The library's functions on the object; valid until the process ends.
  const RKXMetadataInterface* table_;
};

}  // namespace rkx
