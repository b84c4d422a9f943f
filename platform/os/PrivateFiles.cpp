#include "platform/os/PrivateFiles.h"

#include <sys/stat.h>

namespace platform::os {

PrivateFiles::PrivateFiles() noexcept : old_(::umask(S_IRWXG | S_IRWXO)) {}

// umask() cannot fail, so there is nothing to check, and nothing to throw from a destructor.
PrivateFiles::~PrivateFiles() {
  ::umask(static_cast<mode_t>(old_));
}

}  // namespace platform::os
