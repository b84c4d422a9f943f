#pragma once

#include <cstdint>

#include "wrappers/k2m/Exception.h"

namespace test {

/// The status that an exception of this kind carries out of a call; 0 where none does.
template <typename Exception = krvo::k2m::Exception, typename Call>
std::uint32_t statusOf(const Call& call) {
  try {
    call();
    return 0;
  } catch (const Exception& error) {
    return error.status();
  }
}

}  // namespace test
