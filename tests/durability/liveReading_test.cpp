// A second process follows a recording while it grows, as a media server does that plays it.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/files/FileView.h"
#include "host/files/smallFiles.h"
#include "platform/container/reading/fragmentReader.h"
#include "tests/durability/Reference.h"
#include "tests/support/Recorder.h"
#include "tests/support/loadModule.h"

namespace {

using namespace test;

constexpr std::uint32_t kFragments = 1200;
constexpr std::uint32_t kFragmentMs = 100;

/// In the process that records: a fragment about every millisecond. Answers the exit status.
int recordAll(Recorder& recorder) {
  recorder.host.settings["Recording/FragmentDuration"] = std::to_string(kFragmentMs);
  recorder.host.settings["Recording/SegmentDuration"] = std::to_string(300 * kFragmentMs);
  if (!recorder.open()) return 1;
  for (const StreamMessage& message :
       stream().keyFramesEvery(kFragmentMs).framesEvery(50).frameBytes(400).until(kFragments * kFragmentMs + 1)) {
    if (!recorder.record(message)) return 2;
    if (message.time % kFragmentMs == 0) ::poll(nullptr, 0, 1);
  }
  recorder.stop();
  return recorder.host.lines.empty() ? 0 : 3;
}

/// Segment and number of each fragment that the process that reads has seen, to its position and bytes.
using Fragments = std::map<FragmentName, std::pair<std::uint64_t, std::string>>;

/// Reads what the bootstrap names by now, and was not read before.
void look(const Recorder& recorder, Fragments& fragments) {
  if (!recorder.has(".bootstrap")) return;
  const std::string image = recorder.content(".bootstrap");
  const auto info = host::parseBootstrap(qvs::util::asBytes(image));
  ASSERT_EQ(host::imageOf(info).size(), image.size()) << "a torn bootstrap";
  std::uint32_t end = 1;
  for (const auto& run : info.segmentRunTables.at(0).segmentRuns) {
    const std::uint32_t first = std::exchange(end, end + run.fragmentsPerSegment);
    if (fragments.contains({run.firstSegment, end - 1})) continue;
    const std::string suffix = "Seg" + std::to_string(run.firstSegment);
    const std::string indexImage = recorder.content(suffix + ".k2i");
    const auto index = host::parseAfra(qvs::util::asBytes(indexImage));
    ASSERT_EQ(host::imageOf(index).size(), indexImage.size()) << "a torn index";
    ASSERT_GE(index.globalEntries.size(), end - first) << "the bootstrap names what the index does not";
    host::FileView file(recorder.file(suffix + ".k2r").string());
    for (std::uint32_t number = first; number < end; ++number) {
      const auto& entry = index.globalEntries.at(number - first);
      ASSERT_EQ(entry.fragment, number);
      if (fragments.contains({entry.segment, number})) continue;
      const auto boxes = krvo::container::locateFragment(file, entry.afraOffset);
      const auto bootstrap = host::parseBootstrap(host::loadBox(file, boxes.abst));
      std::uint64_t counted = 0;
      for (const auto& known : bootstrap.segmentRunTables.at(0).segmentRuns) counted += known.fragmentsPerSegment;
      ASSERT_EQ(counted, number) << "another fragment";
      std::vector<std::byte> bytes(static_cast<std::size_t>(boxes.end() - entry.afraOffset));
      file.read(entry.afraOffset, bytes);
      fragments[{entry.segment, number}] = {entry.afraOffset, textOf(bytes)};
    }
  }
}

TEST(LiveReading, NeverSeesATornFileOrAWrongFragment) {
  Recorder recorder(loadModule());
  const pid_t child = ::fork();
  ASSERT_NE(child, -1);
  if (child == 0) ::_exit(recordAll(recorder));
  Fragments fragments;
  int status = 0;
  std::size_t live = 0;
  std::size_t looks = 0;
  for (; ::waitpid(child, &status, WNOHANG) == 0; ++looks) {
    live = fragments.size();
    if (!HasFailure()) look(recorder, fragments);
  }
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_GE(live, 1000U) << "read while it was recorded, in " << looks << " looks";
  EXPECT_GE(looks, 100U);
  auto segments = readAllFiles(recorder.directory());
  for (const auto& [name, read] : fragments) {
    ASSERT_EQ(segments[segmentName(name.first)].compare(read.first, read.second.size(), read.second), 0) << name.second;
  }
}

}  // namespace
