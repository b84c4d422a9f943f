#pragma once

#include <map>
#include <string>

#include "tests/support/StreamBuilder.h"

namespace test {

/// One opening of a stream: new for the first one of a recording, an append for the others.
struct RandomSession {
  std::vector<StreamMessage> messages;
  bool stop = true;
};

/// Settings and sessions that a host may come up with, all made from `seed`: times that go back, repeat, pause and
/// wrap, messages that are refused, codecs that are not written, ends with and without a stop.
struct RandomRecording {
  explicit RandomRecording(std::uint32_t seed);
  /// Settings and messages in lines, for whoever looks into a failure.
  std::string text() const;

  std::map<std::string, std::string> settings;
  std::vector<RandomSession> sessions;
};

}  // namespace test
