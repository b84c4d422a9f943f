// The functions of libmicrohttpd that this program calls, see host/lazyLibrary.h. The library brings nine others for
// TLS, which take 2 ms and 2.5 MB, and only `k2r serve` needs it (docs/decisions.md, "libav and libmicrohttpd are
// loaded by the first call").

#include <microhttpd.h>

#include <cstdarg>

#include "host/lazyLibrary.h"

namespace host {
namespace {

void* microhttpd() {
  static void* const loaded = loadLibrary(K2R_MICROHTTPD);
  return loaded;
}

}  // namespace
}  // namespace host

extern "C" {

LAZY_3(microhttpd, MHD_add_response_header)
LAZY_3(microhttpd, MHD_create_response_from_buffer)
LAZY_3(microhttpd, MHD_create_response_from_fd_at_offset64)
LAZY_1(microhttpd, MHD_destroy_response)
LAZY_4(microhttpd, MHD_get_connection_values_n)
LAZY_3(microhttpd, MHD_queue_response)
LAZY_1(microhttpd, MHD_quiesce_daemon)
LAZY_1(microhttpd, MHD_resume_connection)
LAZY_1(microhttpd, MHD_stop_daemon)
LAZY_1(microhttpd, MHD_suspend_connection)

MHD_Response* MHD_create_response_from_callback(uint64_t size, size_t blockSize, MHD_ContentReaderCallback reader,
                                                void* context, MHD_ContentReaderFreeCallback free) {
  PASS_ON(microhttpd, MHD_create_response_from_callback, size, blockSize, reader, context, free)
}

/// None of the kinds of information that there are takes an argument.
const MHD_ConnectionInfo* MHD_get_connection_info(MHD_Connection* connection, MHD_ConnectionInfoType kind,
                                                  ...){PASS_ON(microhttpd, MHD_get_connection_info, connection, kind)}

MHD_Daemon* MHD_start_daemon(unsigned int flags, uint16_t port, MHD_AcceptPolicyCallback accept, void* acceptContext,
                             MHD_AccessHandlerCallback handle, void* handleContext, ...) {
  static auto* const function =
      host::findFunction<decltype(MHD_start_daemon_va)>(host::microhttpd(), "MHD_start_daemon_va");
  std::va_list options;
  va_start(options, handleContext);
  MHD_Daemon* const daemon = function(flags, port, accept, acceptContext, handle, handleContext, options);
  va_end(options);
  return daemon;
}

}  // extern "C"
