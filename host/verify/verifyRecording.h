#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/errors.h"
#include "host/verify/Findings.h"

namespace host {

/// The result of a check.
struct Verification {
  std::string recording;
  Findings findings;
  /// Whether the bootstrap has the end mark that a stop writes.
  bool stopped = false;
  std::uint64_t segments = 0;
  /// Fragments that an index names and that exist.
  std::uint64_t fragments = 0;
  std::uint64_t tags = 0;
  /// Times of the first and the last tag, in ms.
  std::optional<std::uint32_t> firstTime;
  std::optional<std::uint32_t> lastTime;

  /// kDamaged, kRepairable or kOk, by the gravest finding.
  ExitStatus status() const;
};

/// Checks the recording in the directory `path`: each file by itself, and all against each other. Changes nothing,
/// takes no lock, and may run during a recording. Throws CommandError if there is no recording or the directory cannot
/// be read. Reads all boxes and tag headers, but no samples beyond their first bytes. For a running recording, what the
/// recorder may be writing at the moment is no damage.
Verification verifyRecording(const std::string& path);

}  // namespace host
