// A media context from a host, of the type that the first byte gives: whatever is in it, nothing comes of it but the
// stream's time offset, and nothing is thrown.

#include "fuzz/fuzzing.h"
#include "fuzz/recording.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Stays open, as opening takes far longer than a call.
  static test::Recorder recorder(fuzz::createAdaptor);
  static const bool isOpen = recorder.open();
  fuzz::require(isOpen, "opened");
  if (size == 0) return 0;
  recorder.adaptor().updateMediaContext(recorder.handle(), ContextType_t{}, data[0], 0, data + 1,
                                        static_cast<std::uint32_t>(size - 1));
  fuzz::require(recorder.adaptor().getDuration(recorder.handle()) == 0, "nothing is recorded by it");
  return 0;
}
