#pragma once

#include <memory>

#include "platform/encryption/krvo_rkx.h"

namespace rkx {

/// Owns one object of the encryption library, or nothing; releases it by the function in the object itself.
class RKXObjectBase {
 public:
  RKXObjectBase() = default;
  ~RKXObjectBase() {
    if (object_ != nullptr) object_->release(object_);
  }
  RKXObjectBase(const RKXObjectBase&) = delete;
  RKXObjectBase& operator=(const RKXObjectBase&) = delete;

  RKXObject* get() const { return object_; }
  /// The place for the library to store the object. To be used once: an object that is already there would leak.
  RKXObject** slot() { return &object_; }

 private:
  RKXObject* object_ = nullptr;
};

/// A counted handle on an object of the encryption library; the last copy releases it. The count is atomic, so copies
/// may go to other threads; the object itself belongs to one thread at a time. Releasing wipes the keys in it.
class CSmartPtrBase {
 public:
  /// Null if the library stored none. A view; the handle keeps the object.
  RKXObject* get() const { return object_->get(); }
  explicit operator bool() const { return get() != nullptr; }

 protected:
  CSmartPtrBase() : object_(std::make_shared<RKXObjectBase>()) {}
  CSmartPtrBase(const CSmartPtrBase&) = default;
  CSmartPtrBase& operator=(const CSmartPtrBase&) = default;
  ~CSmartPtrBase() = default;

  /// For the constructor of a derived handle, which has the library fill it.
  RKXObject** slot() { return object_->slot(); }

 private:
  std::shared_ptr<RKXObjectBase> object_;
};

}  // namespace rkx
