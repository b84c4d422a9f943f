#pragma once

#include <string>

#include "host/input/Input.h"
#include "imo/IMOStreamAdaptor.h"
#include "imo/IMOStreamOpenContext.h"

namespace host {

/// One open stream of an adaptor, for recording. The destructor closes it, which changes no file: without stop() the
/// files stay as the last fragment left them. `adaptor` and `settings` outlive it. Belongs to one thread.
class Recording {
 public:
  /// Opens the stream. `path` is in the module's form. Throws CommandError if the module cannot open it; the log has
  /// the reason then.
  Recording(IMOStreamAdaptor& adaptor, IMOStreamOpenContext& settings, const std::string& path, bool append);
  ~Recording() { adaptor_.close(handle_); }
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  /// Passes a message to the module. Returns false if the module refuses it, or could not write a fragment. The module
  /// copies what it keeps; the data may go afterwards. The reason of a failure is in the StreamContext.
  bool record(const InputMessage& message);
  /// Finishes the files. Call it once, after the last message.
  void stop() { adaptor_.stopRecord(handle_); }

 private:
  IMOStreamAdaptor& adaptor_;
  /// The module's handle of the stream.
  void* handle_ = nullptr;
};

}  // namespace host
