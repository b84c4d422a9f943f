#pragma once

#include <string>

#include "host/input/Input.h"
#include "imo/IMOStreamAdaptor.h"
#include "imo/IMOStreamOpenContext.h"

namespace host {

/// One open stream of an adaptor. Closes it at its end, which touches no file: without stop() the recording stays on
/// disk as its last fragment left it. Adaptor and settings outlive it.
class Recording {
 public:
  /// `path` is in the module's form. Throws CommandError where the module does not open it; the reason is in the log.
  Recording(IMOStreamAdaptor& adaptor, IMOStreamOpenContext& settings, const std::string& path, bool append);
  ~Recording() { adaptor_.close(handle_); }
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  /// False where the module refuses the message.
  bool record(const InputMessage& message);
  /// Finishes the files. Once, behind the last message.
  void stop() { adaptor_.stopRecord(handle_); }

 private:
  IMOStreamAdaptor& adaptor_;
  void* handle_ = nullptr;
};

}  // namespace host
