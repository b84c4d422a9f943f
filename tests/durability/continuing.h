#pragma once

#include "host/verify/verifyReport.h"
#include "tests/support/Recorder.h"
#include "tests/support/testing.h"

namespace test {

/// Fragments of a second.
inline void useShortGrid(Recorder& recorder, const char* segmentDuration = "0") {
  recorder.host.settings["Recording/FragmentDuration"] = "1000";
  recorder.host.settings["Recording/SegmentDuration"] = segmentDuration;
}

/// Records all of that, and leaves it as the end of the process does.
inline void recordAndCrash(Recorder& recorder, const std::vector<StreamMessage>& messages) {
  ASSERT_TRUE(recorder.open()) << recorder.log();
  EXPECT_EQ(recorder.record(messages), 0U) << recorder.log();
  recorder.close();
}

/// Appends, and stops.
inline void appendAndStop(Recorder& recorder, const std::vector<StreamMessage>& messages) {
  ASSERT_TRUE(recorder.open(kAppend)) << recorder.log();
  EXPECT_EQ(recorder.record(messages), 0U) << recorder.log();
  recorder.stop();
  recorder.close();
}

inline host::Verification verified(const Recorder& recorder) {
  return host::verifyRecording(recorder.directory().string());
}

inline void expectWhole(const Recorder& recorder) {
  const auto verification = verified(recorder);
  EXPECT_EQ(verification.status(), host::ExitStatus::kOk) << textReport(verification) << recorder.log();
}

}  // namespace test
