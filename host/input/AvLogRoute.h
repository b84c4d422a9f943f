#pragma once

#include "host/Log.h"

namespace host {

/// While it exists, the errors that libav reports on the thread that made it go to a log. They are warnings there,
/// because their consequences are reported where they occur. All lesser messages of libav are dropped. Messages of
/// threads without a route, such as those of libav, go to the oldest route of the process; without one they are
/// dropped.
///
/// Made and destroyed on one thread. A thread may have several, of which the newest counts; they are destroyed in the
/// opposite order. `log` outlives it.
class AvLogRoute {
 public:
  explicit AvLogRoute(Log& log);
  ~AvLogRoute();
  AvLogRoute(const AvLogRoute&) = delete;
  AvLogRoute& operator=(const AvLogRoute&) = delete;

  /// While it exists, what libav's decoders and parsers report on this thread is dropped. They complain of each picture
  /// of a source that was joined between two key frames, in dozens of lines. Nothing is lost by it: such pictures are
  /// counted, and a source that cannot be opened has an error of its own.
  class CodecSilence {
   public:
    /// With `isWanted` false it does nothing.
    explicit CodecSilence(bool isWanted);
    ~CodecSilence();
    CodecSilence(const CodecSilence&) = delete;
    CodecSilence& operator=(const CodecSilence&) = delete;

   private:
    bool outer_;
  };

 private:
  /// The route of the thread before; null if it had none.
  Log* outer_;
  /// Whether it is the one for libav's own threads.
  bool isOldest_ = false;
};

}  // namespace host
