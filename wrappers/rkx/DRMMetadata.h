#pragma once

#include "util/ByteBuffer.h"
#include "wrappers/rkx/CSmartPtrBase.h"

namespace rkx {

/// A counted handle on a block of protection metadata. Made by an encryptor.
class DRMMetadata : public CSmartPtrBase {
 public:
  /// The whole block. Throws RKXException. May be asked only where there is an object.
  qvs::util::ByteBuffer bytes() const;

 private:
  friend class RKXEncryptor;
  /// Throws RKXException where the library has no table.
  DRMMetadata();

  const RKXMetadataInterface* table_;
};

}  // namespace rkx
