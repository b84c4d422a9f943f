#include "host/verify/quickLook.h"

#include <algorithm>
#include <utility>

#include "host/errors.h"
#include "host/files/FileView.h"
#include "host/files/Malformed.h"
#include "host/files/smallFiles.h"
#include "host/verify/FragmentCheck.h"
#include "host/verify/SegmentCheck.h"
#include "host/verify/bootstrapCheck.h"
#include "host/verify/bootstrapForm.h"
#include "host/verify/bootstrapHistory.h"
#include "host/verify/sideFiles.h"
#include "platform/container/reading/SegmentError.h"
#include "platform/container/reading/SegmentReader.h"
#include "platform/container/reading/fragmentReader.h"

namespace host {
namespace {

using krvo::container::FragmentBoxes;
using krvo::container::SegmentError;
using ruvo::k2r::AfraEntry;

/// Calls `read`, and reports a file that is malformed or cannot be read as damage.
template <typename Read>
void finding(const FileFindings& out, const Read& read) {
  try {
    read();
  } catch (const Malformed& error) {
    out.damage(error.offset(), error.what());
  } catch (const SegmentError& error) {
    out.damage(error.offset(), error.fault());
  } catch (const CommandError& error) {
    out.damage(error.what());
  }
}

class QuickLook {
 public:
  explicit QuickLook(const RecordingDirectory& directory)
      : recording_{directory, findings_, BaseTimes(readBaseTime(directory, findings_)), {}, {}} {}

  std::optional<Finding> run() {
    readBootstrapFile();
    if (content_.bootstrap) {
      for (const auto& run : segmentRuns(*content_.bootstrap)) look(run.firstSegment);
      readUnannouncedSegment();
      lookAtEnd();
      recording_.bases.report(findings_, recording_.directory.controlName());
    }
    checkDescriptionFile(recording_);
    const auto& found = findings_.kept();
    const auto first = std::find_if(found.begin(), found.end(),
                                    [](const Finding& finding) { return finding.severity == Severity::kDamage; });
    return first == found.end() ? std::nullopt : std::optional(*first);
  }

 private:
  void readBootstrapFile() {
    const FileFindings out = recording_.in(recording_.directory.bootstrapName());
    finding(out, [&] {
      const auto bytes = readSmallFile(recording_.directory.pathOf(out.file()));
      auto info = parseBootstrap(bytes);
      if (!checkBootstrapForm(bytes, info, 0, out)) return;
      if (segmentRuns(info).empty()) out.damage("expected a segment, found none");
      content_.bootstrap = std::move(info);
    });
  }

  /// Checks a segment that the bootstrap names: that its index can be read, and that the last fragment which the index
  /// names is whole. All earlier fragments were durable before the index named the last one.
  void look(std::uint32_t number) {
    const RecordingDirectory& directory = recording_.directory;
    const FileFindings out = recording_.in(directory.segmentName(number));
    const FileFindings indexOut = recording_.in(directory.indexName(number));
    if (!directory.segments.contains(number)) out.damage("missing");
    if (!directory.indexes.contains(number)) indexOut.damage("missing");
    content_.segments.push_back({number, {}});
    loadIndex(number, indexOut);
    const auto& index = content_.segments.back().result.index;
    if (!index || !directory.segments.contains(number)) return;
    const auto last = index->lastWritten();
    if (!last) return;
    finding(out, [&] {
      FileView file(directory.pathOf(out.file()));
      locateWhole(file, index->entries()[*last].afraOffset);
    });
  }

  void loadIndex(std::uint32_t number, const FileFindings& out) {
    if (!recording_.directory.indexes.contains(number)) return;
    finding(out, [&] {
      content_.segments.back().result.index.emplace(readSmallFile(recording_.directory.pathOf(out.file())), number,
                                                    out);
    });
  }

  /// Reads the index of a segment that a roll-over has begun and the bootstrap does not name yet. Nothing in it is
  /// damage.
  void readUnannouncedSegment() {
    const auto& runs = segmentRuns(*content_.bootstrap);
    if (runs.empty() || !recording_.directory.segments.contains(runs.back().firstSegment + 1)) return;
    FileFindings out = recording_.in(recording_.directory.indexName(runs.back().firstSegment + 1));
    out.limit(Severity::kRepairable);
    content_.segments.push_back({runs.back().firstSegment + 1, {}});
    loadIndex(content_.segments.back().number, out);
  }

  static FragmentBoxes locateWhole(FileView& file, std::uint64_t position) {
    const FragmentBoxes boxes = krvo::container::locateFragment(file, position);
    if (boxes.end() > file.size()) throw SegmentError(file.size(), "the last fragment goes on, the file ends here");
    return boxes;
  }

  /// Checks the last fragment of the recording completely, and the bootstrap file against the bootstrap in it.
  void lookAtEnd() {
    auto last = lastWritten(content_.segments.size(), SIZE_MAX);
    if (!last) return;
    const auto before = lastWritten(last->first + 1, last->second);
    auto& segment = content_.segments[last->first];
    const FileFindings out = recording_.in(recording_.directory.segmentName(segment.number));
    finding(out, [&] {
      FileView file(recording_.directory.pathOf(out.file()));
      // Without `lastTimes`: the previous fragment is not read, so the duration of a lone sample cannot be checked.
      SegmentContext context{file, out, krvo::container::SegmentReader(file).movie(), recording_.bases, std::nullopt};
      const auto boxes = locateWhole(file, entryAt(*last).afraOffset);
      const FragmentContent content = checkFragment(context, boxes);
      takeUnindexed(file, boxes.end(), segment.result);
      if (!content.bootstrap) return;
      recording_.chain.resume(before ? std::optional(linkAt(*before)) : std::nullopt, linkAt(*last));
      checkAgainstFragments(recording_, content_);
    });
  }

  /// Place of an index entry: the segment in `content_`, and the entry in its index.
  using EntryPlace = std::pair<std::size_t, std::size_t>;

  /// The last entry with a position in the first `segments`; in the last of these only entries before `end` count.
  std::optional<EntryPlace> lastWritten(std::size_t segments, std::size_t end) const {
    for (std::size_t i = segments; i-- > 0; end = SIZE_MAX) {
      const auto& index = content_.segments[i].result.index;
      if (!index) continue;
      for (std::size_t entry = std::min(end, index->entries().size()); entry-- > 0;) {
        if (index->entries()[entry].isWritten()) return EntryPlace(i, entry);
      }
    }
    return std::nullopt;
  }

  const AfraEntry& entryAt(EntryPlace place) const {
    return content_.segments[place.first].result.index->entries()[place.second];
  }

  FragmentChain::Link linkAt(EntryPlace place) const {
    const AfraEntry& entry = entryAt(place);
    const std::string name = recording_.directory.segmentName(content_.segments[place.first].number);
    FileView file(recording_.directory.pathOf(name));
    const auto abst = locateWhole(file, entry.afraOffset).abst;
    return {.step = {entry.segment, entry.fragment, entry.time},
            .bootstrap = parseBootstrap(loadBox(file, abst), abst.offset),
            .file = name,
            .bootstrapOffset = abst.offset};
  }

  /// Reads the fragment after the last indexed one, if a crash left a whole one: the bootstrap file may continue from
  /// it.
  static void takeUnindexed(FileView& file, std::uint64_t position, SegmentResult& result) {
    try {
      const auto boxes = locateWhole(file, position);
      result.unindexed = parseBootstrap(loadBox(file, boxes.abst), boxes.abst.offset);
      ++result.unindexedFragments;
    } catch (const SegmentError&) {
    } catch (const Malformed&) {
    }
  }

  Findings findings_;
  RecordingContext recording_;
  RecordingContent content_;
};

}  // namespace

std::optional<Finding> quickLook(const RecordingDirectory& directory) {
  return QuickLook(directory).run();
}

}  // namespace host
