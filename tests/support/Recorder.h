#pragma once

#include <memory>

#include "imo/IMOStreamAdaptor.h"
#include "tests/support/StreamBuilder.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"

namespace test {

inline constexpr std::uint32_t kAppend = kOpenRecord | kOpenAppend;

/// Records into `<temporary directory>/rec/cam1` through an adaptor, as a host does:
///
///     Recorder recorder(createAdaptor);
///     recorder.host.settings["Recording/FragmentDuration"] = "2000";
///     recorder.open();
///     recorder.record(stream().keyFramesEvery(2000).until(10000));
///     recorder.stop();
class Recorder {
 public:
  explicit Recorder(IMOCreateAdaptorFunction create, IMOFileContext* files = nullptr);
  ~Recorder() { close(); }
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  /// Makes the adaptor on the first call. True when the stream is open.
  bool open(std::uint32_t flags = kOpenRecord);
  bool record(const StreamMessage& message);
  /// How many of the messages were refused.
  std::size_t record(const std::vector<StreamMessage>& messages);
  void stop();
  void close();

  IMOStreamAdaptor& adaptor() { return *adaptor_; }
  void* handle() { return handle_; }

  std::filesystem::path directory() const { return directory_.path() / "rec" / "cam1"; }
  std::filesystem::path file(const std::string& suffix) const { return directory() / ("cam1" + suffix); }
  bool has(const std::string& suffix) const { return std::filesystem::exists(file(suffix)); }
  std::string content(const std::string& suffix) const { return readWholeFile(file(suffix)); }
  /// Names of the files there are, sorted, separated by blanks.
  std::string files() const;
  /// All log lines, separated by line ends.
  std::string log() const;

 private:
  TempDirectory directory_;
  DiskFileContext disk_;

 public:
  TestHost host;

 private:
  IMOCreateAdaptorFunction create_;
  std::unique_ptr<IMOStreamAdaptor> adaptor_;
  void* handle_ = nullptr;
};

}  // namespace test
