#pragma once

#include <string>

#include "util/NQStrUtil.h"

namespace test {

/// How many of the next `new (std::nothrow) T[n]` find no memory.
inline int failingBuffers = 0;

/// A wide text, to compare and to print.
inline std::string narrow(const NQString& text) {
  return std::string(qvs::util::toNarrow(text.view()).view());
}

/// The text of the failure that an operation ends in; "(nothing)" where it does not.
template <typename Failure, typename Operation>
std::string failureOf(const Operation& operation) {
  try {
    operation();
  } catch (const Failure& failure) {
    if constexpr (requires { failure.message(); })
      return failure.message();
    else
      return narrow(failure.text());
  }
  return "(nothing)";
}

}  // namespace test
