#include "platform/os/PrivateFiles.h"

#include <sys/stat.h>

namespace platform::os {

PrivateFiles::PrivateFiles() noexcept : old_(::umask(S_IRWXG | S_IRWXO)) {}

PrivateFiles::~PrivateFiles() {
  ::umask(static_cast<mode_t>(old_));
}

}  // namespace platform::os
