#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/module/loadModule.h"
#include "tests/support/Recorder.h"

namespace test {

/// A recorder on the module whose stream is open, and has these messages.
struct OpenRecorder : Recorder {
  explicit OpenRecorder(const std::vector<StreamMessage>& messages = {}) : Recorder(loadModule()) {
    EXPECT_TRUE(open());
    EXPECT_EQ(record(messages), 0U) << log();
  }
  /// With a setting.
  OpenRecorder(const std::string& key, const std::string& value, IMOFileContext* files = nullptr)
      : Recorder(loadModule(), files) {
    host.settings[key] = value;
    EXPECT_TRUE(open());
  }
};

}  // namespace test
