#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/files/RecordingDirectory.h"
#include "host/output.h"

namespace host {

/// A track, as far as a viewer or listener would ask for it.
struct TrackOverview {
  std::uint32_t id = 0;
  /// `vide`, `soun` or `meta`.
  std::string handler;
  /// Four characters, such as `avc1`; those of the clear samples if the track is protected.
  std::string format;
  /// Pixels; 0 if the track has no pictures.
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  /// Hertz; 0 if the track has no sound, or if its description does not say.
  std::uint32_t sampleRate = 0;
  std::uint32_t channels = 0;
  /// Ticks a second, of `ticks`.
  std::uint32_t timescale = 0;
  std::uint64_t samples = 0;
  /// Of the samples.
  std::uint64_t bytes = 0;
  /// The durations of all samples, so that gaps do not lower the rates.
  std::uint64_t ticks = 0;

  /// Frames a second, and bits a second; nothing if no sample has a duration.
  std::optional<double> frameRate() const;
  std::optional<double> bitRate() const;
};

/// A fragment, or a gap, on a line that begins with the first sample. If times go back, what follows is put after the
/// rest. In ms.
struct TimedStretch {
  std::uint64_t startMs = 0;
  std::uint64_t durationMs = 0;
};

/// How the recording ends, as far as its files and the lock of its directory show it.
enum class EndState {
  kEnded,
  /// Another process has locked the directory.
  kBeingWritten,
  /// Being recorded by a host without a lock, or interrupted; the files do not show which.
  kNotEnded,
  /// The bootstrap, which has the end mark, cannot be read.
  kUnknown,
};

/// What a person looks for in a recording. Times are those of its samples: the end in the bootstrap is a line of the
/// grid.
struct RecordingOverview {
  std::string path;
  bool hasBootstrap = false;
  EndState state = EndState::kNotEnded;
  /// Who writes it, such as "process 1234 (k2r)"; empty if nobody is known to.
  std::string writer;
  /// From the first sample to the last one, gaps included.
  std::uint64_t lengthMs = 0;
  /// Milliseconds since 1970-01-01 UTC, see recordedSinceMs().
  std::optional<std::int64_t> recordedSinceMs;
  std::vector<TrackOverview> tracks;
  /// Of all files of the recording.
  std::uint64_t bytes = 0;
  std::size_t segments = 0;
  /// All that can be read, also those without pictures and sound, which `fragments` does not have.
  std::uint64_t fragmentCount = 0;
  std::vector<TimedStretch> fragments;
  std::vector<TimedStretch> gaps;
  bool isProtected = false;
  /// The metadata of a protected recording, see describeMetadata(); else null.
  Json protection;
  /// The first damage that a quick look finds; empty if there is none.
  std::string damage;
  /// What cannot be read and is left out, the first of them; `faultCount` counts all.
  std::vector<std::string> faults;
  std::uint64_t faultCount = 0;

  /// Sum of all gaps.
  std::uint64_t gapMs() const;
};

/// The shortest, the one in the middle, and the longest duration; all 0 for an empty list.
struct DurationRange {
  std::uint64_t shortestMs = 0;
  std::uint64_t medianMs = 0;
  std::uint64_t longestMs = 0;
};
DurationRange durationRange(const std::vector<TimedStretch>& stretches);

/// Reads it, also while the recording runs; of a damaged one what can be read. Takes no lock. Reads the boxes around
/// the samples of each fragment, some 10 KB. Throws CommandError if there is no recording.
RecordingOverview readOverview(const RecordingDirectory& directory);

}  // namespace host
