#pragma once

#include <exception>
#include <new>

#include "platform/tagstream/krvo_mtg.h"
#include "wrappers/mtg/Exception.h"

namespace mtg {

/// Runs an operation for the library; what it throws becomes a status.
template <typename Operation>
KrvoMTGStatus answer(const Operation& operation) noexcept {
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
