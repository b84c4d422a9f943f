#pragma once

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/StreamBuilder.h"

namespace test {

/// A stretch of recording: from an opening to a stop, or to the end of the process.
struct Session {
  std::vector<StreamMessage> messages;
  bool stop = true;
};

/// How a recording comes about.
struct Scenario {
  std::string name;
  std::map<std::string, std::string> settings;
  /// The second and the later ones are appends.
  std::vector<Session> sessions;
  /// What an append to any state of it may go on with.
  std::vector<StreamMessage> continuation;
};

inline std::ostream& operator<<(std::ostream& out, const Scenario& scenario) {
  return out << scenario.name;
}

/// Streams that bring about every kind of change to the files: roll-over, appends to stopped and to interrupted
/// recordings, audio alone, gaps in time, fragments that are held since key frames are rare.
std::vector<Scenario> scenarios();

}  // namespace test
