#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "host/Log.h"
#include "host/Settings.h"
#include "imo/IMOFileContext.h"
#include "imo/IMOStreamContext.h"

namespace host {

/// What this host offers to an adaptor: the `k2r/...` settings, the log, the file services. Remembers how many errors
/// came, and the texts of the first and the last. In all texts the paths of the recording are native. One for each
/// recording: the counts are those of that recording.
class StreamContext final : public IMOStreamContext {
 public:
  /// Keeps references to the first three, which outlive it. `modulePath` is the recording's directory in the module's
  /// form, with backslashes.
  StreamContext(const Settings& settings, Log& log, IMOFileContext& files, std::string modulePath)
      : settings_(settings), log_(log), files_(files), modulePath_(std::move(modulePath)) {}

  void reserved() override {}
  /// Copies the value of `key` with its terminator to `*value`, which has room for `length` bytes, and returns 0.
  /// Returns the size needed, with the terminator, if that is too small, and -1 if there is no such setting.
  std::int32_t readConfiguration(const char* key, char** value, std::uint32_t length) override;
  /// Errors are counted; all lesser levels are warnings for the user. `flag` is not used.
  void log(const char* text, std::uint32_t level, bool flag) override;
  IMOFileContext* fileContext() override { return &files_; }

  /// While set, an error with the same text as the one before is neither logged nor counted. For a message that is sent
  /// a second time.
  void hideRepeats(bool hide) { hidesRepeats_ = hide; }
  std::uint64_t errorCount() const { return errorCount_; }
  const std::string& firstError() const { return firstError_; }
  const std::string& lastError() const { return lastError_; }
  /// Begins an attempt to record. attemptError() is the first error since then; empty if there was none. Those that
  /// follow it are its consequences, and say less.
  void beginAttempt() {
    attemptError_.clear();
    cause_.clear();
  }
  /// A reason that the module does not know, and that is better than the text of its next error.
  void noteCause(const std::string& reason) {
    if (cause_.empty()) cause_ = reason;
  }
  const std::string& attemptError() const { return attemptError_; }

 private:
  std::string withNativePaths(std::string_view text) const;

  const Settings& settings_;
  Log& log_;
  IMOFileContext& files_;
  std::string modulePath_;
  bool hidesRepeats_ = false;
  std::uint64_t errorCount_ = 0;
  std::string firstError_;
  std::string lastError_;
  std::string attemptError_;
  std::string cause_;
};

}  // namespace host
