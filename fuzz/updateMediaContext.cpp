// A media context from a host, of the type that the first byte gives: whatever is in it, nothing comes of it but the
// stream's time offset, and nothing is thrown.

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "fuzz/fuzzing.h"
#include "modules/streams/k2r/k2rAdaptor.h"
#include "tests/support/StreamBuilder.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"

namespace {

/// A stream that stays open, as opening one takes far longer than a call.
class OpenStream {
 public:
  OpenStream() : host_(&files_), adaptor_(&host_) {
    const auto target = test::modulePath(directory_.path() / "cam1");
    fuzz::require(adaptor_.open(&host_, target.c_str(), kOpenRecord, nullptr, handle_) == kStreamOpened, "opened");
  }
  ~OpenStream() { adaptor_.close(handle_); }
  OpenStream(const OpenStream&) = delete;
  OpenStream& operator=(const OpenStream&) = delete;

  void update(std::uint8_t type, const std::uint8_t* data, std::size_t size) {
    adaptor_.updateMediaContext(handle_, ContextType_t{}, type, 0, data, static_cast<std::uint32_t>(size));
  }
  std::uint32_t duration() { return adaptor_.getDuration(handle_); }

 private:
  test::TempDirectory directory_;
  test::DiskFileContext files_;
  test::TestHost host_;
  qvs::k2r::k2rAdaptor adaptor_;
  void* handle_ = nullptr;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static OpenStream stream;
  stream.update(data[0], data + 1, size - 1);
  fuzz::require(stream.duration() == 0, "nothing is recorded by it");
  return 0;
}
