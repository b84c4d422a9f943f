#include "platform/encryption/guard.h"

#include <new>
#include <stdexcept>

#include "platform/encryption/StatusError.h"

namespace krvo::encryption {

RKXStatus statusOfCurrentException() noexcept {
  try {
    throw;
  } catch (const StatusError& error) {
    return error.status();
  } catch (const std::bad_alloc&) {
    return kRKXOutOfMemory;
  } catch (const std::length_error&) {
    return kRKXOutOfMemory;
  } catch (const std::out_of_range&) {
    return kRKXBadArgument;
  } catch (...) {
    return kRKXCryptographyFailed;
  }
}

}  // namespace krvo::encryption
