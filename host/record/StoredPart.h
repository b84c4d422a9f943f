#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/OutputDirectory.h"
#include "host/record/Tally.h"

namespace host {

/// What the files of a recording hold of one run of the recorder.
struct StoredPart {
  /// Without the codec configurations that the recorder adds. Of a protected recording the bytes are those that lie in
  /// the segments, cipher text and filter headers.
  Tally messages;
  std::uint64_t fragments = 0;
  /// From the first stored message to the last one.
  std::uint32_t spanMs = 0;
  bool isProtected = false;
  /// Whether the recording has fragments at all, also from before.
  bool hasFragments = false;
  /// What a stop should have left and did not; empty where all of it is there.
  std::string unfinished;

  /// Adds another recording.
  StoredPart& operator+=(const StoredPart& other) {
    messages += other.messages;
    fragments += other.fragments;
    spanMs += other.spanMs;
    isProtected = isProtected || other.isProtected;
    hasFragments = hasFragments && other.hasFragments;
    if (unfinished.empty()) unfinished = other.unfinished;
    return *this;
  }
};

/// Counts what stands in the fragments whose numbers are above `lastFragment`, as far as bootstrap and index name them.
/// Reads the boxes around the samples, and none of these. Throws CommandError for files that cannot be read.
StoredPart readStoredPart(const OutputDirectory& place, std::uint32_t lastFragment);

}  // namespace host
