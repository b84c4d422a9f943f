// The one entry of the module.

#include <memory>

#include "imo/imo.h"
#include "modules/streams/k2r/k2rAdaptor.h"

bool IMOCreateAdaptor(IMOStreamContext* context, IMOStreamAdaptor** adaptor) {
  if (adaptor == nullptr) return false;
  *adaptor = nullptr;
  if (context == nullptr) return false;
  try {
    *adaptor = std::make_unique<qvs::k2r::k2rAdaptor>(context).release();
  } catch (...) {
    // No line in the log: the context may be what failed.
  }
  return *adaptor != nullptr;
}
