#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/serve/ServeConfig.h"
#include "host/serve/streams/StreamStatus.h"

namespace host::serve {

/// The streams of the process, each recorded on a thread of its own. Any thread may call it.
class Supervisor {
 public:
  /// A stream as others see it.
  struct View {
    StreamConfig config;
    StreamSnapshot snapshot;
  };

  /// Records what `config` says from now on. Streams that are new begin, those that are gone finish, those whose
  /// configuration changed finish and begin again, the others do not notice. Does not wait for those that finish.
  void apply(const ServeConfig& config);

  /// The configured streams, sorted by name.
  std::vector<View> views() const;
  std::optional<View> find(const std::string& name) const;

  /// Starts or stops the recording of a stream, until the next start of the process. False if there is no such stream.
  bool start(const std::string& name);
  bool stop(const std::string& name);
  /// Begins a new recording at the next key frame. False if there is no such stream, or it is not recording.
  bool rotate(const std::string& name);
};

}  // namespace host::serve
