#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"
#include "host/files/SegmentMap.h"
#include "host/verify/verifyReport.h"
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

  host::SegmentMap boxesOf(const std::string& suffix) const;
  std::vector<ruvo::k2r::AfraEntry> indexOf(const std::string& suffix) const;
  void changeIndex(const std::string& suffix,
                   const std::function<void(std::vector<ruvo::k2r::AfraEntry>&)>& change) const;
  void changeBootstrap(const std::function<void(ruvo::k2r::BootstrapInfo&)>& change) const;
  host::Verification verify() const { return host::verifyRecording(directory()); }

 private:
  TempDirectory root_;
  std::map<std::string, std::string> files_;
};

/// Fails where the recording in a directory is another one: a file more, less, or with other bytes. Segments may
/// differ in what their `moov` says, which has the time of day.
void expectSameFiles(const MadeRecording& expected, const std::filesystem::path& directory);

/// Whether a finding that is more than a note names the file, at an offset from `first` to `last` if these are given.
bool names(const host::Verification& verification, const std::string& file);
bool names(const host::Verification& verification, const std::string& file, std::uint64_t first, std::uint64_t last);

/// Video and audio of few frames, so that files are small.
StreamBuilder av(std::uint32_t keyFrames = 2000);
/// VP6, MP3, script data of both kinds, and now and then a picture of no bytes.
std::vector<StreamMessage> otherCodecs(std::uint32_t until);

}  // namespace test
