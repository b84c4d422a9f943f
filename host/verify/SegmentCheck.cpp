#include "host/verify/SegmentCheck.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

#include "host/errors.h"
#include "host/files/Malformed.h"
#include "host/files/SegmentMap.h"
#include "host/files/imageFields.h"
#include "host/files/smallFiles.h"
#include "host/verify/FragmentCheck.h"
#include "host/verify/accessCheck.h"
#include "host/verify/segmentHeader.h"
#include "platform/container/reading/SegmentError.h"

namespace host {

using krvo::container::FragmentBoxes;
using krvo::container::SegmentError;
using ruvo::k2r::AfraEntry;

namespace {

class SegmentChecker {
 public:
  SegmentChecker(RecordingContext& recording, std::uint32_t number, SegmentRole role)
      : recording_(recording),
        number_(number),
        role_(role),
        out_(recording.in(recording.directory.segmentName(number))),
        indexOut_(recording.in(recording.directory.indexName(number))) {}

  SegmentResult run() {
    loadIndex();
    // If no index names a fragment in the file, an interruption may have left anything there, even half a header.
    unfinished_ = role_.unannounced && positions_.empty();
    if (unfinished_) out_.limit(role_.leftover);
    if (recording_.directory.segments.contains(number_)) {
      checkFile();
    } else if (role_.known || !positions_.empty()) {
      out_.damage("missing");
      recording_.chain.breakOff();
    }
    return std::move(result_);
  }

 private:
  void loadIndex() {
    if (!recording_.directory.indexes.contains(number_)) return;
    try {
      const auto bytes = readSmallFile(recording_.directory.pathOf(indexOut_.file()));
      result_.index.emplace(bytes, number_, indexOut_);
    } catch (const CommandError& error) {
      indexOut_.damage(error.what());
      return;
    }
    positions_ = result_.index->positions();
    const auto& entries = result_.index->entries();
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (entries[i].isWritten()) entryAt_.emplace(entries[i].afraOffset, i);
    }
  }

  void checkFile() {
    try {
      FileView file(recording_.directory.pathOf(out_.file()));
      checkBoxes(file, mapSegment(file, positions_));
    } catch (const CommandError& error) {
      out_.damage(error.what());
      recording_.chain.breakOff();
    } catch (const SegmentError& error) {
      // The file became shorter while it was read, or the disk failed.
      out_.damage(error.offset(), error.fault());
      recording_.chain.breakOff();
    }
  }

  void checkBoxes(FileView& file, const SegmentMap& map) {
    const std::uint64_t indexedEnd = endOfIndexed(map);
    for (const SegmentBreak& broken : map.breaks) {
      out_.add(broken.offset >= indexedEnd ? role_.leftover : Severity::kDamage, broken.offset, broken.reason);
    }
    SegmentContext segment{.file = file, .out = out_, .movie = checkHeader(file, map, out_), .bases = recording_.bases};
    if (unfinished_) {
      accessTableIsWhole_ = false;
      for (const FragmentBoxes& boxes : map.fragments) takeUnindexed(segment, boxes);
    } else if (segment.movie.tracks.empty()) {
      accessTableIsWhole_ = false;
      recording_.chain.breakOff();
    } else {
      if (recording_.movie.tracks.empty()) recording_.movie = segment.movie;
      compareTracks(recording_.movie, segment.movie, map.moov->offset, out_);
      checkFragments(segment, map, indexedEnd);
    }
    if (result_.index) {
      passOver(result_.index->entries().size());
      result_.index->checkSequence();
      checkPositions(map);
    }
    checkTail(segment, map);
  }

  /// Offset of the first byte after everything that the index names. If a fragment that it names is missing, every byte
  /// may belong to that fragment, and there is no such offset.
  std::uint64_t endOfIndexed(const SegmentMap& map) const {
    // Without a `moov` and without indexed fragments all of the file is what an interruption left.
    std::uint64_t end = map.moov ? map.moov->end() : 0;
    for (const std::uint64_t position : positions_) {
      const FragmentBoxes* const fragment = map.fragmentAt(position);
      if (fragment == nullptr) return UINT64_MAX;
      end = std::max(end, fragment->end());
    }
    return end;
  }

  void checkFragments(SegmentContext& segment, const SegmentMap& map, std::uint64_t indexedEnd) {
    std::uint32_t sequence = 1;
    segment.lastTimes.emplace();
    std::uint64_t end = map.moov->end();
    for (const FragmentBoxes& boxes : map.fragments) {
      const bool follows = boxes.position() == end;
      end = boxes.end();
      const auto entry = entryAt_.find(boxes.position());
      if (entry == entryAt_.end() && boxes.position() >= indexedEnd) {
        takeUnindexed(segment, boxes);
        continue;
      }
      if (!follows) segment.lastTimes.reset();
      FragmentContent content = checkFragment(segment, boxes);
      if (content.sequenceNumber) {
        if (follows) out_.expect(boxes.moof.offset, "moof: sequence number", sequence, *content.sequenceNumber);
        sequence = *content.sequenceNumber + 1;
      }
      if (entry != entryAt_.end()) {
        addToChain(entry->second, content);
      } else {
        out_.note(boxes.position(), "a fragment that the index does not name");
        recording_.chain.breakOff();
      }
      noteAccessPoints(segment, std::move(content));
    }
  }

  void takeUnindexed(SegmentContext& segment, const FragmentBoxes& boxes) {
    out_.add(role_.leftover, boxes.position(), "a whole fragment that the index does not name");
    ++result_.unindexedFragments;
    try {
      result_.unindexed = parseBootstrap(loadBox(segment.file, boxes.abst), boxes.abst.offset);
    } catch (const Malformed&) {
      // The fragment may be left from an earlier recorder and overwritten in part, so it is no finding that it is
      // malformed.
    }
  }

  void addToChain(std::size_t entry, const FragmentContent& content) {
    passOver(entry);
    recording_.chain.add(out_, *result_.index, entry, content);
    nextEntry_ = entry + 1;
    ++result_.fragments;
    result_.tags += content.tags.size();
    if (content.tags.empty()) return;
    if (!result_.firstTagTime) result_.firstTagTime = content.tags.front().place.timestamp;
    result_.lastTagTime = content.tags.back().place.timestamp;
  }

  /// Breaks the chain if the index names fragments before `entry` that could not be read.
  void passOver(std::size_t entry) {
    const auto& entries = result_.index->entries();
    for (; nextEntry_ < entry; ++nextEntry_) {
      if (entries[nextEntry_].isWritten()) recording_.chain.breakOff();
    }
  }

  void noteAccessPoints(const SegmentContext& segment, FragmentContent content) {
    if (!content.tracks) {
      accessTableIsWhole_ = false;
      return;
    }
    krvo::container::Fragment fragment;
    fragment.boxes = content.boxes;
    fragment.tracks = *std::move(content.tracks);
    accessTable_.addFragment(fragment, segment.movie);
  }

  /// Each position in the index must be the start of a whole fragment, and positions must rise with the numbers.
  void checkPositions(const SegmentMap& map) const {
    const auto& entries = result_.index->entries();
    std::uint64_t before = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const std::uint64_t at = result_.index->offsetOf(i) + kEntryPosition;
      const std::uint64_t position = entries[i].afraOffset;
      if (position == ruvo::k2r::kHeldFragmentOffset) reportHeld(i, at);
      if (!entries[i].isWritten()) continue;
      if (map.fragmentAt(position) == nullptr) {
        indexOut_.damage(at, fmt::format("entry {}: position: expected the start of a whole fragment in {}, found {}",
                                         i + 1, out_.file(), position));
        if (position >= map.fileSize) {
          out_.damage(map.fileSize, fmt::format("fragment {} expected, at {}, found the end of the file",
                                                entries[i].fragment, position));
        }
      } else if (position <= before) {
        indexOut_.damage(at,
                         fmt::format("entry {}: position: expected one after {}, found {}", i + 1, before, position));
      }
      before = std::max(before, position);
    }
  }

  void reportHeld(std::size_t entry, std::uint64_t at) const {
    const auto last = result_.index->lastWritten();
    indexOut_.add(last && *last > entry ? Severity::kDamage : role_.leftover, at,
                  fmt::format("entry {}: position: fragment {} was announced and never written", entry + 1,
                              result_.index->entries()[entry].fragment));
  }

  void checkTail(const SegmentContext& segment, const SegmentMap& map) const {
    if (const auto* const mfra = map.randomAccess()) {
      if (accessTableIsWhole_ && map.breaks.empty() && result_.unindexedFragments == 0)
        checkRandomAccess(segment, *mfra, accessTable_, role_.leftover);
    } else if (role_.ended && map.breaks.empty() && !map.fragments.empty()) {
      // A recorder that cannot write the table ends the segment without it. Nothing recorded is lost by that.
      out_.add(role_.leftover == Severity::kDamage ? Severity::kNote : role_.leftover, map.fileSize,
               "mfra expected, found the end of the file");
    }
  }

  RecordingContext& recording_;
  std::uint32_t number_;
  SegmentRole role_;
  FileFindings out_;
  FileFindings indexOut_;
  SegmentResult result_;
  std::set<std::uint64_t> positions_;
  bool unfinished_ = false;
  /// Subscript of each entry with a position, by that position.
  std::map<std::uint64_t, std::size_t> entryAt_;
  /// The first entry that has not been compared with a fragment yet.
  std::size_t nextEntry_ = 0;
  /// The table that the fragments produce. Complete only if all of them could be read.
  krvo::container::RandomAccessTable accessTable_;
  bool accessTableIsWhole_ = true;
};

}  // namespace

SegmentResult checkSegment(RecordingContext& recording, std::uint32_t number, SegmentRole role) {
  return SegmentChecker(recording, number, role).run();
}

}  // namespace host
