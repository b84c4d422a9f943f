#include "util/IOStream.h"

#include <cerrno>

namespace ruvo::k2r {

IOStreamException::Code IOStreamException::codeOf(int errorNumber) {
  switch (errorNumber) {
    case 0:
      return kNone;
    case ENOENT:
      return kNotFound;
    case EACCES:
      return kAccessDenied;
    case EEXIST:
      return kExists;
    case EINVAL:
      return kInvalidArgument;
    case EMFILE:
      return kTooManyOpen;
    default:
      return kOther;
  }
}

}  // namespace ruvo::k2r
