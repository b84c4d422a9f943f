#pragma once

#include "modules/streams/k2r/k2rAdaptor.h"
#include "tests/support/Recorder.h"

namespace fuzz {

/// As the module's entry: for a test::Recorder.
inline bool createAdaptor(IMOStreamContext* context, IMOStreamAdaptor** adaptor) {
  *adaptor = std::make_unique<qvs::k2r::k2rAdaptor>(context).release();
  return true;
}

}  // namespace fuzz
