#include "util/libraryEntry.h"

#include <new>
#include <stdexcept>

#include "util/bytes.h"

namespace qvs::util {

std::uint32_t statusOfCurrentException(const FailureStatuses& statuses) noexcept {
  try {
    throw;
  } catch (const StatusError& error) {
    return error.status();
  } catch (const MalformedInput&) {
    return statuses.malformedInput;
  } catch (const std::out_of_range&) {
    return statuses.outOfRange;
  } catch (const std::length_error&) {
    return statuses.tooLong;
  } catch (const std::bad_alloc&) {
    return statuses.outOfMemory;
  } catch (const std::exception&) {
    return statuses.otherException;
  } catch (...) {
    return statuses.notAnException;
  }
}

}  // namespace qvs::util
