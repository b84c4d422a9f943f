#pragma once

#include <concepts>
#include <type_traits>
#include <utility>

#include "util/NQObject.h"

/// Holds one reference to a counted object, or nothing. A holder belongs to one thread at a time.
template <typename T, typename Base = NQObject>
class NQPtr {
 public:
  NQPtr() = default;
  NQPtr(T* object) : object_(object) { addRef(object_); }
  NQPtr(const NQPtr& other) : NQPtr(other.object_) {}
  NQPtr(NQPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <typename Other>
  requires(std::convertible_to<Other*, T*> && !std::is_same_v<Other, T>) NQPtr(const NQPtr<Other, Base>& other)
      : NQPtr(other.get()) {}
  virtual ~NQPtr() { reset(); }

  /// A new object, with this reference to it.
  template <typename... Args>
  static NQPtr make(Args&&... args) {
    return NQPtr(new T(std::forward<Args>(args)...));
  }

  NQPtr& operator=(T* object) {
    if (object == object_) return *this;
    // The new object first: it may be part of what the old one holds.
    T* const old = std::exchange(object_, object);
    addRef(object_);
    release(old);
    return *this;
  }
  NQPtr& operator=(const NQPtr& other) {
    if (this != &other) *this = other.object_;
    return *this;
  }
  NQPtr& operator=(NQPtr&& other) noexcept {
    if (this != &other) release(std::exchange(object_, std::exchange(other.object_, nullptr)));
    return *this;
  }
  /// Empty before the object may end, so that whatever its destructor reaches finds no dangling holder.
  void reset() { release(std::exchange(object_, nullptr)); }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }
  bool operator==(const NQPtr& other) const { return object_ == other.object_; }

 private:
  static void addRef(T* object) {
    if (object != nullptr) static_cast<Base*>(object)->addRef();
  }
  static void release(T* object) {
    if (object != nullptr) static_cast<Base*>(object)->release();
  }

  T* object_ = nullptr;
};

using NQObjectPtr = NQPtr<NQObject>;
