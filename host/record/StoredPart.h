#pragma once

#include <cstdint>
#include <string>

#include "host/OutputDirectory.h"
#include "host/record/Tally.h"

namespace host {

/// What one call of `k2r record` stored, counted in the files of the recording. RecordSummary compares it with what the
/// session counted.
struct StoredPart {
  /// Without the codec configurations that the recorder adds. In a protected recording the bytes are those in the
  /// segments: cipher text and filter headers.
  Tally messages;
  std::uint64_t fragments = 0;
  /// Distance from the first stored message to the last one, in ms.
  std::uint32_t spanMs = 0;
  bool isProtected = false;
  /// Whether the recording has any fragment, including those from before an append.
  bool hasFragments = false;
  /// What is missing that a stop writes; empty if nothing is.
  std::string unfinished;
  /// Why the files could not be read; the rest then says nothing. Empty where they could.
  std::string unread;

  /// Adds the part of the next recording that was made from the same input.
  StoredPart& operator+=(const StoredPart& other) {
    messages += other.messages;
    fragments += other.fragments;
    spanMs += other.spanMs;
    isProtected = isProtected || other.isProtected;
    hasFragments = hasFragments && other.hasFragments;
    if (unfinished.empty()) unfinished = other.unfinished;
    if (unread.empty()) unread = other.unread;
    return *this;
  }
};

/// Counts the messages in all fragments with a number above `lastFragment` that bootstrap and index name. Reads boxes
/// only, no samples. Throws CommandError if a file cannot be read. `lastFragment` is 0 for a new recording.
StoredPart readStoredPart(const OutputDirectory& place, std::uint32_t lastFragment);

}  // namespace host
