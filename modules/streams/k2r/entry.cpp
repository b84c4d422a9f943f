// The module's one entry, and the interface classes that it exports beside it.

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
    // Nothing to tell the host with but the answer: the context may be what failed.
  }
  return *adaptor != nullptr;
}
