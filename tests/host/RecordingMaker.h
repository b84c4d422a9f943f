#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tests/support/StreamBuilder.h"
#include "tests/support/TempDirectory.h"

namespace test {

/// How a recording is made, and how it ends.
struct RecordingPlan {
  std::vector<StreamMessage> messages = {};
  std::map<std::string, std::string> settings = {};
  bool stop = true;
  /// Recorded behind that by an append, which ends the same way.
  std::vector<StreamMessage> appended = {};
};

/// A recording in a directory of its own, made by the module, whose files a test may change.
class MadeRecording {
 public:
  explicit MadeRecording(const RecordingPlan& plan);

  std::string directory() const { return (root_.path() / "cam1").string(); }
  std::filesystem::path path(const std::string& suffix) const { return root_.path() / "cam1" / ("cam1" + suffix); }
  std::string read(const std::string& suffix) const;
  void write(const std::string& suffix, const std::string& content) const;
  /// Brings every file back to what it was when the recording was made.
  void restore() const;
  /// Lets the module continue it as it is now, and stop.
  void append(const std::vector<StreamMessage>& messages) const;
  void remove(const std::string& suffix) const { std::filesystem::remove(path(suffix)); }

 private:
  TempDirectory root_;
  std::map<std::string, std::string> files_;
};

/// Messages of a stream one behind another.
std::vector<StreamMessage> operator+(std::vector<StreamMessage> first, const std::vector<StreamMessage>& second);

}  // namespace test
