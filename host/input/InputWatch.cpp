#include "host/input/InputWatch.h"

extern "C" {
#include <libavutil/error.h>
}

#include <fmt/format.h>

#include "host/input/avObjects.h"

namespace host {

AVIOInterruptCB InputWatch::callback() {
  const auto interrupts = [](void* self) {
    auto& watch = *static_cast<InputWatch*>(self);
    if (!watch.stop_.requested() && !watch.isStalled()) return 0;
    // From now on read() must not count packets as received: libavformat may still return some that it had buffered.
    watch.interrupted_ = true;
    return 1;
  };
  return {.callback = interrupts, .opaque = this};
}

bool InputWatch::isStall(int error) const {
  return !stop_.requested() && (interrupted_ || error == AVERROR_EXIT);
}

std::string InputWatch::reasonOf(int error) const {
  if (!isStall(error)) return avErrorText(error);
  return fmt::format("no data for {:g} s", static_cast<double>(limit_.count()) / 1000);
}

}  // namespace host
