// A media context from a host, of the type that the first byte gives: whatever is in it, the only effect is the
// stream's time offset, and nothing is thrown.

#include "fuzz/fuzzing.h"
#include "fuzz/recording.h"

void fuzz::target(Bytes input) {
  // Stays open, as opening takes far longer than a call.
  static test::Recorder recorder(createAdaptor);
  static const bool isOpen = recorder.open();
  require(isOpen, "opened");
  if (input.empty()) return;
  recorder.adaptor().updateMediaContext(recorder.handle(), ContextType_t{}, std::to_integer<std::uint8_t>(input[0]), 0,
                                        input.data() + 1, static_cast<std::uint32_t>(input.size() - 1));
  require(recorder.adaptor().getDuration(recorder.handle()) == 0, "nothing is recorded by it");
}
