#pragma once

#include <memory>

#include "platform/encryption/krvo_rkx.h"

namespace rkx {

/// Owns one object of the encryption library, or nothing.
class RKXObjectBase {
 public:
  RKXObjectBase() = default;
  ~RKXObjectBase() {
    if (object_ != nullptr) object_->release(object_);
  }
  RKXObjectBase(const RKXObjectBase&) = delete;
  RKXObjectBase& operator=(const RKXObjectBase&) = delete;

  RKXObject* get() const { return object_; }
  /// Where the library puts the object. Asked for once, while there is none.
  RKXObject** slot() { return &object_; }

 private:
  RKXObject* object_ = nullptr;
};

/// A counted handle on an object of the encryption library; the last copy releases it. The count is atomic, the object
/// belongs to one thread at a time.
class CSmartPtrBase {
 public:
  /// Null where the library gave none.
  RKXObject* get() const { return object_->get(); }
  explicit operator bool() const { return get() != nullptr; }

 protected:
  CSmartPtrBase() : object_(std::make_shared<RKXObjectBase>()) {}
  CSmartPtrBase(const CSmartPtrBase&) = default;
  CSmartPtrBase& operator=(const CSmartPtrBase&) = default;
  ~CSmartPtrBase() = default;

  RKXObject** slot() { return object_->slot(); }

 private:
  std::shared_ptr<RKXObjectBase> object_;
};

}  // namespace rkx
