#pragma once

#include <memory>
#include <string>

#include "imo/IMOStreamAdaptor.h"
#include "imo/IMOStreamContext.h"

namespace host {

/// Where the module is: the value of the environment variable K2R_MODULE, else `libk2r.so` beside this program or in
/// the folder `../lib`, else the bare name, for the loader to search.
std::string findModule();

/// A loaded module. Outlives its adaptors.
class Module {
 public:
  /// Throws CommandError, with the loader's reason, where the file is no module.
  explicit Module(const std::string& path);

  /// A new adaptor. `context` outlives it. Throws CommandError where the module makes none.
  std::unique_ptr<IMOStreamAdaptor> createAdaptor(IMOStreamContext& context) const;

 private:
  struct Unload {
    void operator()(void* library) const;
  };

  std::string path_;
  std::unique_ptr<void, Unload> library_;
  IMOCreateAdaptorFunction create_ = nullptr;
};

}  // namespace host
