#include "host/Module.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "host/errors.h"

namespace host {

std::string findModule() {
  constexpr const char* kName = "libk2r.so";
  if (const char* const chosen = std::getenv("K2R_MODULE"); chosen != nullptr && *chosen != '\0') return chosen;
  std::error_code ignored;
  // By the program's real path: it may have been started through a link or by the search path.
  const auto folder = std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
  // In the build the two are side by side; where they are installed, the way from one to the other is the same for
  // every prefix.
  for (const auto& candidate : {folder / kName, folder / K2R_MODULE_FOLDER / kName}) {
    if (std::filesystem::exists(candidate, ignored)) return candidate.lexically_normal().string();
  }
  return kName;
}

// All symbols at once, so that a module that lacks one is refused here and not in the middle of a recording.
Module::Module(const std::string& path) : path_(path), library_(::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (!library_) throw CommandError(fmt::format("cannot load the module: {}", ::dlerror()));
  create_ = reinterpret_cast<IMOCreateAdaptorFunction>(::dlsym(library_.get(), "IMOCreateAdaptor"));
  if (create_ == nullptr) {
    throw CommandError(fmt::format("'{}' is not a stream module: it has no IMOCreateAdaptor", path));
  }
}

std::unique_ptr<IMOStreamAdaptor> Module::createAdaptor(IMOStreamContext& context) const {
  IMOStreamAdaptor* made = nullptr;
  const bool ok = create_(&context, &made);
  // Owned before the check, in case the module fails and leaves one.
  std::unique_ptr<IMOStreamAdaptor> adaptor(made);
  if (!ok || !adaptor) throw CommandError(fmt::format("the module '{}' made no adaptor", path_));
  return adaptor;
}

void Module::Unload::operator()(void* library) const {
  ::dlclose(library);
}

}  // namespace host
