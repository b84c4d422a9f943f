#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "fragmentation/AfraBox.h"
#include "fragmentation/BootstrapReader.h"
#include "tests/support/Recorder.h"
#include "tests/support/loadModule.h"

namespace test {

constexpr std::uint32_t kAppend = kOpenRecord | kOpenAppend;

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

  /// The index file of a segment as text, an entry each: "fragment@time:place", the place being "held", "none" or
  /// "written".
  std::string index(const std::string& segment = "Seg1") const {
    std::istringstream in(content(segment + ".k2i"));
    ruvo::k2r::AfraIndex index;
    ruvo::k2r::readAfra(in, index);
    std::string text;
    for (const auto& entry : index.globalEntries) {
      const bool held = entry.afraOffset == ruvo::k2r::kHeldFragmentOffset;
      text += (text.empty() ? "" : " ") + std::to_string(entry.fragment) + "@" + std::to_string(entry.time) +
              (held ? ":held" : (entry.isWritten() ? ":written" : ":none"));
    }
    return text;
  }
  /// The bootstrap as text: "segment x fragments", then "first@timestamp+duration" or "first@timestamp!discontinuity"
  /// for each run.
  std::string bootstrap() const {
    std::istringstream in(content(".bootstrap"));
    ruvo::k2r::BootstrapInfo info;
    ruvo::k2r::readBootstrap(in, info);
    std::ostringstream text;
    for (const auto& run : info.segmentRunTables.at(0).segmentRuns)
      text << run.firstSegment << "x" << run.fragmentsPerSegment << " ";
    text << "|";
    for (const auto& run : info.fragmentRunTables.at(0).fragmentRuns) {
      text << " " << run.firstFragment << "@" << run.firstTimestamp;
      run.duration != 0 ? text << "+" << run.duration : text << "!" << run.discontinuity;
    }
    return text.str();
  }
};

}  // namespace test
