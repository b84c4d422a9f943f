// A disk that does not respond, for LD_PRELOAD: while the file `$K2R_HANG.hangs` exists, no file or folder of the
// folder $K2R_HANG can be opened or asked for its space, and nobody who tries comes back.

#include <dirent.h>
#include <dlfcn.h>
#include <sys/statvfs.h>
#include <sys/types.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace {

void hangIn(const std::string& path) {
  const char* const folder = std::getenv("K2R_HANG");
  if (folder == nullptr || !path.starts_with(folder)) return;
  while (::access((std::string(folder) + ".hangs").c_str(), F_OK) == 0) ::usleep(1000);
}

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

// Not declared as in <fcntl.h>, which has any number of arguments: no caller gives more than these.
int open(const char* path, int flags, mode_t mode) {
  hangIn(path);
  return next<int(const char*, int, mode_t)>("open")(path, flags, mode);
}

int statvfs(const char* path, struct statvfs* status) {
  hangIn(path);
  return next<int(const char*, struct statvfs*)>("statvfs")(path, status);
}

DIR* opendir(const char* path) {
  hangIn(path);
  return next<DIR*(const char*)>("opendir")(path);
}

}  // extern "C"
#pragma GCC visibility pop
