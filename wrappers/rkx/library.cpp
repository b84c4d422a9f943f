#include "wrappers/rkx/library.h"

#include "platform/encryption/krvo_rkx.h"
#include "wrappers/rkx/RKXException.h"

namespace rkx {

void initialise(LibraryBlock& block) {
  check(RKXInitialize(block.data()));
}

void terminate(LibraryBlock& block) noexcept {
  RKXTerminate(block.data());
}

}  // namespace rkx
