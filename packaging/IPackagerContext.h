#pragma once

#include "packaging/MemoryArena.h"

namespace ruvo::k2rpkgutil {

/// What the packager needs from the recording that it works for. Implemented by the stream object, which outlives
/// policies, writers and sources, and owns the context: there is no destructor slot.
class IPackagerContext {
 public:
  /// The arena in which messages are allocated. The same one for the whole life of the context, since blocks of a
  /// message that is written late have to come from an arena that still exists.
  virtual IMemoryArena& getArena() = 0;

 protected:
  ~IPackagerContext() = default;
};

}  // namespace ruvo::k2rpkgutil
