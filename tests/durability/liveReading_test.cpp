// A second process follows a recording while it grows, as a media server does that plays it.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/files/FileView.h"
#include "host/files/smallFiles.h"
#include "platform/container/fragmentReader.h"
#include "tests/durability/Reference.h"
#include "tests/module/loadModule.h"
#include "tests/support/Recorder.h"

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

/// The process that reads.
class Follower {
 public:
  explicit Follower(const Recorder& recorder) : recorder_(recorder) {}

  const std::map<FragmentName, std::pair<std::uint64_t, std::string>>& fragments() const { return fragments_; }

  /// Reads what the bootstrap names by now, and was not read before.
  void look() {
    if (!recorder_.has(".bootstrap")) return;
    const std::string image = recorder_.content(".bootstrap");
    const auto info = host::parseBootstrap(qvs::util::asBytes(image));
    ASSERT_EQ(host::imageOf(info).size(), image.size()) << "a torn bootstrap";
    std::uint32_t next = 1;
    for (const auto& run : info.segmentRunTables.at(0).segmentRuns) {
      const std::uint32_t end = next + run.fragmentsPerSegment;
      if (!fragments_.contains({run.firstSegment, end - 1})) readSegment(run.firstSegment, next, end);
      next = end;
    }
  }

 private:
  void readSegment(std::uint32_t segment, std::uint32_t first, std::uint32_t end) {
    const std::string image = recorder_.content("Seg" + std::to_string(segment) + ".k2i");
    const auto index = host::parseAfra(qvs::util::asBytes(image));
    ASSERT_EQ(host::imageOf(index).size(), image.size()) << "a torn index";
    ASSERT_GE(index.globalEntries.size(), end - first) << "the bootstrap names what the index does not";
    host::FileView file(recorder_.file("Seg" + std::to_string(segment) + ".k2r").string());
    for (std::uint32_t number = first; number < end; ++number) {
      const auto& entry = index.globalEntries.at(number - first);
      ASSERT_EQ(entry.fragment, number);
      if (!fragments_.contains({segment, number})) read(file, entry);
    }
  }

  void read(host::FileView& file, const ruvo::k2r::AfraEntry& entry) {
    const auto boxes = krvo::container::locateFragment(file, entry.afraOffset);
    const auto bootstrap = host::parseBootstrap(host::loadBox(file, boxes.abst));
    std::uint64_t counted = 0;
    for (const auto& run : bootstrap.segmentRunTables.at(0).segmentRuns) counted += run.fragmentsPerSegment;
    ASSERT_EQ(counted, entry.fragment) << "another fragment";
    std::vector<std::byte> bytes(static_cast<std::size_t>(boxes.end() - entry.afraOffset));
    file.read(entry.afraOffset, bytes);
    fragments_[{entry.segment, entry.fragment}] = {entry.afraOffset, textOf(bytes)};
  }

  const Recorder& recorder_;
  /// Position and bytes.
  std::map<FragmentName, std::pair<std::uint64_t, std::string>> fragments_;
};

TEST(LiveReading, NeverSeesATornFileOrAWrongFragment) {
  Recorder recorder(loadModule());
  const pid_t child = ::fork();
  ASSERT_NE(child, -1);
  if (child == 0) ::_exit(recordAll(recorder));
  Follower follower(recorder);
  int status = 0;
  std::size_t live = 0;
  std::size_t looks = 0;
  while (::waitpid(child, &status, WNOHANG) == 0) {
    live = follower.fragments().size();
    if (!HasFailure()) follower.look();
    ++looks;
  }
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_GE(live, 1000U) << "read while it was recorded, in " << looks << " looks";
  EXPECT_GE(looks, 100U);
  std::map<std::uint32_t, std::string> segments;
  for (const auto& [name, read] : follower.fragments()) {
    std::string& segment = segments[name.first];
    if (segment.empty()) segment = recorder.content("Seg" + std::to_string(name.first) + ".k2r");
    ASSERT_EQ(segment.compare(read.first, read.second.size(), read.second), 0) << "fragment " << name.second;
  }
}

}  // namespace
