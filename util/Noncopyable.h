#pragma once

namespace qvs::util::hidden {

/// A private base for classes that are passed by reference only. Empty, so it adds no size; in a namespace of its own,
/// so that it brings no functions of `util` into the lookup of the classes derived from it.
class Noncopyable {
 public:
  Noncopyable(const Noncopyable&) = delete;
  Noncopyable& operator=(const Noncopyable&) = delete;

 protected:
  Noncopyable() = default;
  ~Noncopyable() = default;
};

}  // namespace qvs::util::hidden
