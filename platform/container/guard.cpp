#include "platform/container/guard.h"

#include <new>
#include <stdexcept>

#include "platform/container/StatusError.h"
#include "util/bytes.h"

namespace krvo::container {

KrvoStatus statusOfCurrentException() noexcept {
  try {
    throw;
  } catch (const StatusError& error) {
    return error.status();
  } catch (const qvs::util::MalformedInput&) {
    return kKrvoMalformed;
  } catch (const std::out_of_range&) {
    return kKrvoTooLarge;
  } catch (const std::length_error&) {
    return kKrvoOutOfMemory;
  } catch (const std::bad_alloc&) {
    return kKrvoOutOfMemory;
  } catch (const std::exception&) {
    return kKrvoForeignException;
  } catch (...) {
    return kKrvoUnknown;
  }
}

}  // namespace krvo::container
