#include "tests/durability/Scenario.h"

#include <utility>

namespace test {
namespace {

StreamBuilder video(std::uint32_t keyFrames) {
  return stream().keyFramesEvery(keyFrames).framesEvery(200).frameBytes(150).audio(300).audioBytes(60);
}

std::vector<StreamMessage> joined(std::vector<StreamMessage> first, const std::vector<StreamMessage>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

}  // namespace

std::vector<Scenario> scenarios() {
  const auto continuation = [](StreamBuilder stream) { return stream.from(80000).withoutHeaders().until(83001); };
  const std::string everySecond = "1000";
  std::vector<Scenario> all;
  all.push_back({"OneSegment", {{"Recording/FragmentDuration", everySecond}}, {{video(1000).until(40001), true}}, {}});
  all.push_back({"RollOver",
                 {{"Recording/FragmentDuration", everySecond}, {"Recording/SegmentDuration", "2500"}},
                 {{video(1000).until(40001), true}},
                 {}});
  all.push_back({"Appended",
                 {{"Recording/FragmentDuration", everySecond}, {"Recording/SegmentDuration", "6000"}},
                 {{video(1000).until(14001), true},
                  {video(1000).from(20000).withoutHeaders().until(31001), false},
                  {video(1000).from(40000).withoutHeaders().until(52001), true}},
                 {}});
  all.push_back({"GapsAndHeldFragments",
                 {{"Recording/FragmentDuration", everySecond}, {"Recording/SegmentDuration", "9000"}},
                 {{joined(video(2500).until(25000), video(1000).from(33000).withoutHeaders().until(48001)), true}},
                 {}});
  for (Scenario& scenario : all) scenario.continuation = continuation(video(1000));
  const auto audio = [] { return stream().audio(100).audioBytes(80); };
  all.push_back({"AudioOnly",
                 {{"Recording/FragmentDuration", everySecond}, {"Recording/SegmentDuration", "9000"}},
                 {{audio().from(5000).until(45001), false}},
                 continuation(audio())});
  return all;
}

}  // namespace test
