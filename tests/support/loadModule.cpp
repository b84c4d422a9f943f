#include "tests/support/loadModule.h"

#include <dlfcn.h>

#include <stdexcept>

namespace test {

IMOCreateAdaptorFunction loadModule() {
  void* const module = ::dlopen(K2R_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) throw std::runtime_error(::dlerror());
  void* const entry = ::dlsym(module, "IMOCreateAdaptor");
  if (entry == nullptr) throw std::runtime_error(::dlerror());
  return reinterpret_cast<IMOCreateAdaptorFunction>(entry);
}

}  // namespace test
