#pragma once

#include <cstdint>
#include <string>

#include "host/Log.h"
#include "host/Settings.h"
#include "imo/IMOFileContext.h"
#include "imo/IMOStreamContext.h"

namespace host {

/// What this host offers to an adaptor: the `k2r/...` settings, the log, the file services. Keeps references to all
/// three, which outlive it. Remembers how many errors came, and the texts of the first and the last.
class StreamContext final : public IMOStreamContext {
 public:
  StreamContext(const Settings& settings, Log& log, IMOFileContext& files)
      : settings_(settings), log_(log), files_(files) {}

  void reserved() override {}
  /// The size needed, which it answers where the value does not fit, counts the terminator.
  std::int32_t readConfiguration(const char* key, char** value, std::uint32_t length) override;
  void log(const char* text, std::uint32_t level, bool flag) override;
  IMOFileContext* fileContext() override { return &files_; }

  /// While set, an error that is the last one once more is neither logged nor counted.
  void hideRepeats(bool hide) { hidesRepeats_ = hide; }
  std::uint64_t errorCount() const { return errorCount_; }
  const std::string& firstError() const { return firstError_; }
  const std::string& lastError() const { return lastError_; }

 private:
  const Settings& settings_;
  Log& log_;
  IMOFileContext& files_;
  bool hidesRepeats_ = false;
  std::uint64_t errorCount_ = 0;
  std::string firstError_;
  std::string lastError_;
};

}  // namespace host
