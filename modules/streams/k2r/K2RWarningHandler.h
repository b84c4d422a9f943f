#pragma once

#include "wrappers/k2m/IOStream.h"

namespace qvs::k2r {

/// Makes the container library continue after every warning. Stateless, and safe on any thread.
class K2RWarningHandler : public krvo::k2m::WarningHandler {
 public:
  std::uint32_t warning(std::uint32_t) override { return 1; }
};

}  // namespace qvs::k2r
