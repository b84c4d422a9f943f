#pragma once

#include <exception>
#include <new>

#include "platform/tagstream/krvo_mtg.h"
#include "wrappers/mtg/Exception.h"

namespace mtg {

/// Runs an operation for the library and returns the status that stands for its result. No exception may reach the
/// library, whose frames have C linkage.
template <typename Operation>
KrvoMTGStatus statusOf(const Operation& operation) noexcept {
  try {
    operation();
    return kKrvoMTGOk;
  } catch (const Exception& error) {
    return error.status();
  } catch (const std::bad_alloc&) {
    return kKrvoMTGOutOfMemory;
  } catch (const std::exception&) {
    return kKrvoMTGForeignException;
  } catch (...) {
    return kKrvoMTGUnknown;
  }
}

}  // namespace mtg
