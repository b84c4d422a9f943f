#pragma once

#include <string>
#include <vector>

namespace host::serve {

/// Recordings of one root that are to be remembered: an empty file `STREAM~RECORDING` each in a folder of ROOT/.k2r.
/// Any thread may call it; each marker is changed by one thread at a time.
class HookMarkers {
 public:
  struct Marker {
    std::string stream;
    std::string recording;
  };

  /// Those whose hook has not succeeded yet. `root` is a native path.
  static HookMarkers waiting(const std::string& root) { return {root, "/hooks"}; }
  /// Those that have begun and will have a hook. One that was killed between its last byte and its marker in waiting()
  /// is found by it.
  static HookMarkers begun(const std::string& root) { return {root, "/begun"}; }

  /// Makes a marker that survives a loss of power. True if it was there. False, with the reason in errno, if it cannot
  /// be made; ROOT/.k2r has to exist, so that nothing is written below a place where no disk is mounted.
  bool add(const Marker& marker) const;
  /// False if the marker is still there.
  bool remove(const Marker& marker) const;
  /// The markers that exist, by rising recording. Files with other names are ignored.
  std::vector<Marker> list() const;

 private:
  HookMarkers(const std::string& root, const char* folder) : parent_(root + "/.k2r"), folder_(parent_ + folder) {}
  std::string pathOf(const Marker& marker) const;

  std::string parent_;
  std::string folder_;
};

}  // namespace host::serve
