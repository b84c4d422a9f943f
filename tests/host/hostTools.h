#pragma once

#include <cstdio>

#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"
#include "host/Log.h"
#include "host/files/SegmentMap.h"
#include "host/input/Input.h"
#include "host/verify/verifyReport.h"
#include "tests/support/StreamBuilder.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/testing.h"

namespace test {

struct CommandAnswer {
  int status = -1;
  std::string output;
  std::string errors;
};

/// Runs `k2r` with these arguments in this process.
CommandAnswer k2r(const std::vector<std::string>& arguments);

/// Runs in a directory of its own.
class InDirectory : public testing::Test {
 protected:
  InDirectory() { std::filesystem::current_path(directory_.path()); }
  ~InDirectory() override { std::filesystem::current_path(old_); }

  const std::filesystem::path old_ = std::filesystem::current_path();
  TempDirectory directory_;
};

/// A log that is kept in memory.
class LogCapture {
 public:
  host::Log& log() { return log_; }
  /// The time of its clock, which stands still.
  host::Log::Clock::time_point now = {};
  /// All that was written so far.
  std::string text() const {
    std::fflush(file_.get());
    return {buffer_.text, buffer_.size};
  }

 private:
  struct Buffer {
    ~Buffer() { std::free(text); }
    char* text = nullptr;
    std::size_t size = 0;
  } buffer_;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_{::open_memstream(&buffer_.text, &buffer_.size), std::fclose};
  host::Log log_{file_.get(), [this] { return now; }};
};

/// An input from memory.
class ListInput final : public host::Input {
 public:
  explicit ListInput(std::vector<StreamMessage> messages) : messages_(std::move(messages)) {}
  std::optional<host::InputMessage> next() override {
    if (next_ == messages_.size()) return std::nullopt;
    const auto& message = messages_[next_++];
    return host::InputMessage{message.type, message.time, message.data};
  }

 private:
  std::vector<StreamMessage> messages_;
  std::size_t next_ = 0;
};

/// How a recording is made, and how it ends.
struct RecordingPlan {
  std::vector<StreamMessage> messages = {};
  std::map<std::string, std::string> settings = {};
  bool stop = true;
  /// Recorded after that by an append, which ends the same way.
  std::vector<StreamMessage> appended = {};
};

/// The settings in a file of lines KEY = VALUE.
std::map<std::string, std::string> settingsIn(const std::filesystem::path& file);

/// A recording in a directory of its own, made by the module, whose files a test may change.
class MadeRecording {
 public:
  explicit MadeRecording(const RecordingPlan& plan);

  std::string directory() const { return (root_.path() / "cam1").string(); }
  std::filesystem::path path(const std::string& suffix) const { return root_.path() / "cam1" / ("cam1" + suffix); }
  std::string read(const std::string& suffix) const { return readWholeFile(path(suffix)); }
  void write(const std::string& suffix, const std::string& content) const { writeWholeFile(path(suffix), content); }
  void remove(const std::string& suffix) const { std::filesystem::remove(path(suffix)); }
  /// Brings every file back to what it was when the recording was made.
  void restore() const;
  /// Lets the module continue it as it is now, and stop.
  void append(const std::vector<StreamMessage>& messages) const;

  host::SegmentMap boxesOf(const std::string& suffix) const;
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
bool names(const host::Verification& verification, const std::string& file, std::uint64_t first = 0,
           std::uint64_t last = UINT64_MAX);

/// Video and audio of few frames, so that files are small.
StreamBuilder av(std::uint32_t keyFrames = 2000);
/// AVC frames at the times of a text, of which key frames have a "k" after them.
std::vector<StreamMessage> framesAt(const std::string& times);
/// VP6, MP3, script data of both kinds, and now and then a picture of no bytes.
std::vector<StreamMessage> otherCodecs(std::uint32_t until);

/// Returns what a check says of a recording, which is to be whole.
host::Verification expectWhole(const std::string& directory);

/// All messages of an input.
std::vector<StreamMessage> readAll(host::Input& input);
/// What `k2r record` takes from a file.
std::vector<StreamMessage> messagesOf(const std::string& path);
/// Of AVC or AAC.
bool isSequenceHeader(const StreamMessage& message);
/// Writes messages into a tag stream.
void writeTagStream(const std::vector<StreamMessage>& messages, const std::filesystem::path& file);

}  // namespace test
