#pragma once

#include "packaging/MemoryArena.h"

namespace ruvo::k2rpkgutil {

/// What the packager asks of the recording that it works for.
class IPackagerContext {
 public:
  /// Where the messages of the recording are allocated.
  virtual IMemoryArena& getArena() = 0;

 protected:
  ~IPackagerContext() = default;
};

}  // namespace ruvo::k2rpkgutil
