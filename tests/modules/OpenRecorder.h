#pragma once

#include "fragmentation/AfraBox.h"
#include "fragmentation/BootstrapReader.h"
#include "tests/support/Recorder.h"
#include "tests/support/describe.h"
#include "tests/support/loadModule.h"
#include "tests/support/testing.h"

namespace test {

/// Video with a key frame every two seconds.
inline StreamBuilder video() {
  return stream().keyFramesEvery(2000);
}

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

  void stopAndClose() {
    stop();
    close();
  }
  std::uint32_t duration() { return adaptor().getDuration(handle()); }

  /// As describe() has them.
  std::string index(const std::string& segment = "Seg1") const {
    std::istringstream in(content(segment + ".k2i"));
    ruvo::k2r::AfraIndex index;
    ruvo::k2r::readAfra(in, index);
    return describe(index);
  }
  std::string bootstrap() const {
    std::istringstream in(content(".bootstrap"));
    ruvo::k2r::BootstrapInfo info;
    ruvo::k2r::readBootstrap(in, info);
    return describe(info);
  }
};

}  // namespace test
