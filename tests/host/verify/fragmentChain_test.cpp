#include "host/verify/FragmentChain.h"

#include "host/files/smallFiles.h"
#include "tests/support/testing.h"

namespace host {
namespace {

TEST(FragmentChain, AFragmentBeginsAfterTheOneBeforeIt) {
  // The third one begins at 9001 with a run of its own, off the grid of its number, so that it is no append's.
  ruvo::k2r::AfraIndex third;
  third.globalEntries = {{9001, 1, 3, 5000, 0}};
  ruvo::k2r::BootstrapInfo before;
  before.fragmentRunTables.resize(1);
  before.fragmentRunTables[0].fragmentRuns = {{1, 0, 4500}};
  FragmentContent content;
  content.bootstrap = before;
  content.bootstrap->fragmentRunTables[0].fragmentRuns.emplace_back(3U, 9001U, 4000U);
  // Where the one before ends, the time of its last tag, and what is found.
  const std::tuple<std::uint64_t, std::uint32_t, const char*> rows[] = {
      {9001, 9000, ""},
      {9002, 9000, "abst: current media time: expected 9001 at most, where the next fragment begins, found 9002"},
      {9001, 9001, "fragment: expected to begin after the last tag of the one before it, at 9001, found 9001"}};
  for (const auto& [endMs, lastTagMs, text] : rows) {
    Findings findings;
    const FileFindings out(findings, "cam1Seg1.k2r");
    IndexFile index(imageOf(third), 1, out.in("cam1Seg1.k2i"));
    FragmentChain chain;
    before.currentMediaTime = endMs;
    chain.resume({}, {.step = {1, 2, 4500, lastTagMs}, .bootstrap = before, .file = out.file()});
    chain.add(out, index, 0, content);
    std::string starts;
    for (const Finding& finding : findings.kept())
      starts += finding.text.find("begin") == std::string::npos ? "" : finding.text;
    EXPECT_EQ(starts, text);
  }
}

}  // namespace
}  // namespace host
