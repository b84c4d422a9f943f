#include "platform/tagstream/guard.h"

#include <new>

#include "platform/tagstream/StatusError.h"

namespace krvo::tagstream {

KrvoMTGStatus statusOfCurrentException() noexcept {
  try {
    throw;
  } catch (const StatusError& error) {
    return error.status();
  } catch (const std::bad_alloc&) {
    return kKrvoMTGOutOfMemory;
  } catch (const std::exception&) {
    return kKrvoMTGForeignException;
  } catch (...) {
    return kKrvoMTGUnknown;
  }
}

}  // namespace krvo::tagstream
