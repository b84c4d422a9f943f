#pragma once

namespace qvs::util::hidden {

/// A private base for what is passed on by reference only.
class Noncopyable {
 public:
  Noncopyable(const Noncopyable&) = delete;
  Noncopyable& operator=(const Noncopyable&) = delete;

 protected:
  Noncopyable() = default;
  ~Noncopyable() = default;
};

}  // namespace qvs::util::hidden
