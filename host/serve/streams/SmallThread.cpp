#include "host/serve/streams/SmallThread.h"

#include <system_error>
#include <utility>

namespace host::serve {
namespace {

/// Enough for libavformat and the module, whose deepest recursion ends at 256 containers of script data. The frames of
/// a build with sanitizers are several times as large.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t kStackSize = std::size_t{8} << 20;
#else
constexpr std::size_t kStackSize = std::size_t{512} << 10;
#endif

}  // namespace

SmallThread::SmallThread(std::function<void()> work) : work_(std::move(work)) {
  pthread_attr_t attributes;
  ::pthread_attr_init(&attributes);
  ::pthread_attr_setstacksize(&attributes, kStackSize);
  const auto run = [](void* self) -> void* {
    static_cast<SmallThread*>(self)->work_();
    return nullptr;
  };
  const int error = ::pthread_create(&thread_, &attributes, run, this);
  ::pthread_attr_destroy(&attributes);
  if (error != 0) throw std::system_error(error, std::generic_category(), "cannot start a thread");
}

SmallThread::~SmallThread() {
  ::pthread_join(thread_, nullptr);
}

}  // namespace host::serve
