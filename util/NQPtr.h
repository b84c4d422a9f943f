#pragma once

#include <concepts>
#include <type_traits>
#include <utility>

#include "util/NQObject.h"

/// Owns one reference to a counted object, or is empty. `Base` is the class whose addRef and release count; T derives
/// from it. Objects may be shared between threads, an NQPtr belongs to one thread at a time.
template <typename T, typename Base = NQObject>
class NQPtr {
 public:
  NQPtr() = default;
  /// Adds a reference; implicit, as callers pass `this` or `new T`. A reference that the caller owns stays the
  /// caller's.
  NQPtr(T* object) : object_(object) { addRef(object_); }
  NQPtr(const NQPtr& other) : NQPtr(other.object_) {}
  NQPtr(NQPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <typename Other>
  requires(std::convertible_to<Other*, T*> && !std::is_same_v<Other, T>) NQPtr(const NQPtr<Other, Base>& other)
      : NQPtr(other.get()) {}
  virtual ~NQPtr() { reset(); }

  /// A new object with this as its only reference. Throws what the constructor throws.
  template <typename... Args>
  static NQPtr make(Args&&... args) {
    return NQPtr(new T(std::forward<Args>(args)...));
  }

  NQPtr& operator=(T* object) {
    if (object == object_) return *this;
    // Add before release: the old object may own the only other reference to the new one.
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
  /// Empties the pointer before the object may be deleted: its destructor may come back to this pointer.
  void reset() { release(std::exchange(object_, nullptr)); }

  /// A view; no reference is added.
  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }
  bool operator==(const NQPtr& other) const { return object_ == other.object_; }

 private:
  // By the base: a class with several bases has one count.
  static void addRef(T* object) {
    if (object != nullptr) static_cast<Base*>(object)->addRef();
  }
  static void release(T* object) {
    if (object != nullptr) static_cast<Base*>(object)->release();
  }

  T* object_ = nullptr;
};

using NQObjectPtr = NQPtr<NQObject>;
