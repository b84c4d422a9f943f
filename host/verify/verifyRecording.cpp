#include "host/verify/verifyRecording.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/files/Malformed.h"
#include "host/files/RecordingDirectory.h"
#include "host/files/smallFiles.h"
#include "host/verify/SegmentCheck.h"
#include "host/verify/bootstrapCheck.h"
#include "host/verify/bootstrapForm.h"
#include "host/verify/bootstrapHistory.h"
#include "host/verify/sideFiles.h"

namespace host {
namespace {

using ruvo::k2r::BootstrapInfo;

class RecordingChecker {
 public:
  RecordingChecker(const RecordingDirectory& directory, Verification& result)
      : recording_{directory, result.findings, BaseTimes(readBaseTime(directory, result.findings)), {}, {}},
        result_(result) {}

  void run() {
    checkNames(recording_);
    readBootstrapFile();
    result_.stopped = content_.bootstrap && isStopped(*content_.bootstrap);
    checkSegments();
    if (content_.bootstrap) {
      checkAgainstFragments(recording_, content_);
      checkAgainstIndexes(recording_, content_);
    } else {
      judgeMissingBootstrap();
    }
    checkSkippedTimes();
    recording_.bases.report(recording_.findings, recording_.directory.controlName());
    checkSideFiles(recording_, result_.fragments != 0);
    noteState();
  }

 private:
  FileFindings bootstrapOut() const { return recording_.in(recording_.directory.bootstrapName()); }

  void readBootstrapFile() {
    if (!recording_.directory.hasBootstrap) return;
    const FileFindings out = bootstrapOut();
    try {
      const auto bytes = readSmallFile(recording_.directory.pathOf(out.file()));
      BootstrapInfo info = parseBootstrap(bytes);
      if (checkBootstrapForm(bytes, info, 0, out)) content_.bootstrap = std::move(info);
    } catch (const Malformed& error) {
      out.damage(error.offset(), error.what());
    } catch (const CommandError& error) {
      out.damage(error.what());
    }
  }

  /// The segment in which an append would continue.
  std::uint32_t lastSegment() const {
    if (content_.bootstrap && !segmentRuns(*content_.bootstrap).empty()) {
      return segmentRuns(*content_.bootstrap).back().firstSegment;
    }
    const auto& segments = recording_.directory.segments;
    return segments.empty() ? 0 : *segments.rbegin();
  }

  std::set<std::uint32_t> allSegments() const {
    std::set<std::uint32_t> numbers = recording_.directory.segments;
    numbers.insert(recording_.directory.indexes.begin(), recording_.directory.indexes.end());
    if (!content_.bootstrap) return numbers;
    for (const auto& run : segmentRuns(*content_.bootstrap)) numbers.insert(run.firstSegment);
    return numbers;
  }

  void checkSegments() {
    const std::uint32_t last = lastSegment();
    std::uint32_t expected = 1;
    for (const std::uint32_t number : allSegments()) {
      if (number != expected) {
        recording_.in(recording_.directory.segmentName(expected)).damage("missing");
        recording_.chain.breakOff();
      }
      expected = number + 1;
      checkOneSegment(number, last);
    }
  }

  /// `last` is the segment in which an append would continue.
  void checkOneSegment(std::uint32_t number, std::uint32_t last) {
    SegmentRole role;
    // Only an append reaches what is left at the end of the last segment, so only there it can be repaired. After a
    // stop nothing can be left in a later segment but its header.
    role.known = number <= last;
    role.unannounced = number > last || !recording_.directory.hasBootstrap;
    role.ended = number < last || (number == last && result_.stopped);
    if (number == last) role.leftover = Severity::kRepairable;
    if (number > last) role.leftover = result_.stopped ? Severity::kNote : Severity::kRepairable;
    SegmentResult found = checkSegment(recording_, number, role);
    if (role.known && content_.bootstrap && !recording_.directory.indexes.contains(number)) {
      recording_.in(recording_.directory.indexName(number)).damage("missing");
    }
    if (!role.known) judgeUnknownSegment(number, last, found);
    ++result_.segments;
    result_.fragments += found.fragments;
    result_.tags += found.tags;
    if (!result_.firstTime) result_.firstTime = found.firstTagTime;
    if (found.lastTagTime) result_.lastTime = found.lastTagTime;
    content_.segments.push_back({number, std::move(found)});
  }

  /// Judges a segment after the last one of the bootstrap. A roll-over may just have begun it: then it is the next one,
  /// with at most one fragment in its index.
  void judgeUnknownSegment(std::uint32_t number, std::uint32_t last, const SegmentResult& found) const {
    const FileFindings out = recording_.in(recording_.directory.segmentName(number));
    const bool justBegun = number == last + 1 && found.fragments <= 1;
    if (found.fragments == 0 && number == last + 1) {
      out.note("a segment without an indexed fragment, which the bootstrap does not know");
    } else {
      out.add(justBegun && !result_.stopped ? Severity::kRepairable : Severity::kDamage, std::nullopt,
              fmt::format("expected none after segment {}, the last one of the bootstrap", last));
    }
  }

  /// Judges a recording without a bootstrap. The first fragment is written before index and bootstrap, so up to one
  /// fragment an interruption explains it, and an append begins anew. If the bootstrap cannot be written, the segment
  /// continues, and the index keeps its first fragment only.
  void judgeMissingBootstrap() const {
    if (recording_.directory.hasBootstrap || nothingRecorded()) return;
    const bool hasOneFragment =
        result_.fragments == 1 || (result_.fragments == 0 && content_.segments.front().result.unindexedFragments <= 1);
    const bool justBegun = content_.segments.size() == 1 && hasOneFragment;
    bootstrapOut().add(justBegun ? Severity::kRepairable : Severity::kDamage, std::nullopt,
                       justBegun ? "missing: interrupted at the first fragment; an append begins anew" : "missing");
  }

  bool nothingRecorded() const {
    return !recording_.directory.hasBootstrap && result_.fragments == 0 &&
           std::none_of(content_.segments.begin(), content_.segments.end(), [](const auto& segment) {
             return segment.result.unindexedFragments != 0 ||
                    (segment.result.index && !segment.result.index->entries().empty());
           });
  }

  void checkSkippedTimes() const {
    const FragmentChain::Link* const last = recording_.chain.last();
    const BootstrapInfo fallback = last != nullptr ? last->bootstrap : emptyBootstrap();
    for (const auto& segment : content_.segments) {
      if (segment.result.index) segment.result.index->checkSkippedTimes(content_.bootstrap.value_or(fallback));
    }
  }

  void noteState() const {
    if (nothingRecorded()) {
      recording_.in(recording_.directory.stem).note("nothing has been recorded yet");
    } else if (content_.bootstrap && !result_.stopped) {
      bootstrapOut().note("not stopped: still being recorded, or interrupted");
    }
  }

  RecordingContext recording_;
  RecordingContent content_;
  Verification& result_;
};

}  // namespace

ExitStatus Verification::status() const {
  switch (findings.worst()) {
    case Severity::kNote:
      return ExitStatus::kOk;
    case Severity::kRepairable:
      return ExitStatus::kRepairable;
    case Severity::kDamage:
      return ExitStatus::kDamaged;
  }
  return ExitStatus::kDamaged;
}

Verification verifyRecording(const std::string& path) {
  const RecordingDirectory directory = readRecordingDirectory(path);
  if (directory.empty()) throw CommandError(fmt::format("'{}' contains no recording", path));
  Verification result;
  result.recording = directory.stem;
  RecordingChecker(directory, result).run();
  return result;
}

}  // namespace host
