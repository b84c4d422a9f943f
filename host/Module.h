#pragma once

#include <memory>
#include <string>

#include "imo/IMOStreamAdaptor.h"
#include "imo/IMOStreamContext.h"

namespace host {

/// Path of the module: the value of the environment variable K2R_MODULE, else `libk2r.so` next to this program or in
/// the folder `../lib`, else the bare name, which the loader searches.
std::string findModule();

/// A loaded module. Outlives its adaptors, whose code it is.
class Module {
 public:
  /// Loads the module. Throws CommandError, with the loader's reason, if the file is no module.
  explicit Module(const std::string& path);

  /// Makes an adaptor. `context` outlives it. Throws CommandError if the module makes none. Deleting the adaptor runs
  /// the module's code, through its vtable.
  std::unique_ptr<IMOStreamAdaptor> createAdaptor(IMOStreamContext& context) const;

 private:
  struct Unload {
    void operator()(void* library) const;
  };

  std::string path_;
  /// The handle of dlopen(3).
  std::unique_ptr<void, Unload> library_;
  IMOCreateAdaptorFunction create_ = nullptr;
};

}  // namespace host
