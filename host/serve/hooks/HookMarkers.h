#pragma once

#include <string>
#include <vector>

namespace host::serve {

/// The hooks of one root that have not succeeded yet: an empty file `STREAM~RECORDING` each in ROOT/.k2r/hooks. Any
/// thread may call it; each marker is changed by one thread at a time.
class HookMarkers {
 public:
  struct Marker {
    std::string stream;
    std::string recording;
  };

  /// `root` is a native path.
  explicit HookMarkers(const std::string& root) : folder_(root + "/.k2r/hooks"), parent_(root + "/.k2r") {}

  /// Makes a marker that survives a loss of power. True if it was there. False, with the reason in errno, if it cannot
  /// be made; ROOT/.k2r has to exist, so that nothing is written below a place where no disk is mounted.
  bool add(const Marker& marker) const;
  /// False if the marker is still there.
  bool remove(const Marker& marker) const;
  /// The markers that exist, by rising recording. Files with other names are ignored.
  std::vector<Marker> list() const;

 private:
  std::string pathOf(const Marker& marker) const;

  std::string folder_;
  std::string parent_;
};

}  // namespace host::serve
