#pragma once

#include "imo/export.h"

// Interfaces of the host's other kinds of modules, declared because the contract is common to all modules. A stream
// adaptor neither calls nor implements them; their operations are reserved. The order of their slots is part of the
// contract between the host and its modules, so none may be added, moved or taken away.

class IMO_API IMOServerContext {
 public:
  IMOServerContext() = default;
  virtual ~IMOServerContext() = default;
  virtual void reserved1() = 0;
  virtual void reserved2() = 0;
  virtual void reserved3() = 0;
  virtual void reserved4() = 0;
};

class IMO_API IQvsServerContext {
 public:
  IQvsServerContext() = default;
  virtual void reserved0() = 0;
  virtual void reserved1() = 0;
  virtual void reserved2() = 0;
  virtual ~IQvsServerContext() = default;
};

class IMO_API IMOFlowContext {
 public:
  virtual void reserved0() = 0;

 protected:
  IMOFlowContext() = default;
  ~IMOFlowContext() = default;
};

class IMO_API IMOCodecAdaptor {
 public:
  IMOCodecAdaptor() = default;
  virtual ~IMOCodecAdaptor() = default;
  virtual void reserved1() = 0;
  virtual void reserved2() = 0;
  virtual void reserved3() = 0;
};
