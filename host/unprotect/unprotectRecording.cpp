#include "host/unprotect/unprotectRecording.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>

#include "host/OutputDirectory.h"
#include "host/files/RecordedSegments.h"
#include "host/files/RecordingDirectory.h"
#include "host/files/smallFiles.h"
#include "host/output.h"
#include "host/unprotect/ClearSegment.h"
#include "host/unprotect/RecordingKey.h"
#include "host/verify/verifyRecording.h"
#include "platform/os/PrivateFiles.h"
#include "platform/os/durableFiles.h"
#include "platform/os/wipe.h"

namespace host {
namespace {

namespace fs = std::filesystem;

/// Limit in bytes of the private key's file.
constexpr std::size_t kMaxKeyFile = 1 << 20;

/// The new recording while it is made, in a directory next to its place. Its files have the names that they will have
/// there. Removed by the destructor unless publish() was called.
class StagedRecording {
 public:
  /// Makes the directory. Throws CommandError if something is at the new recording's place.
  explicit StagedRecording(const OutputDirectory& place) : place_(place), path_(place.native() + ".unprotecting") {
    std::error_code error;
    if (fs::exists(fs::symlink_status(place.native(), error))) {
      throw CommandError(fmt::format("'{}' exists; nothing was changed", place.native()));
    }
    if (!platform::os::makeDirectory(path_, platform::os::Durability::kDevice)) {
      throw CommandError(fmt::format("'{}' cannot be made: {}", path_, std::strerror(errno)));
    }
  }
  ~StagedRecording() {
    std::error_code ignored;
    if (!published_) fs::remove_all(path_, ignored);
  }
  StagedRecording(const StagedRecording&) = delete;
  StagedRecording& operator=(const StagedRecording&) = delete;

  const std::string& path() const { return path_; }
  /// Path of the new file for the file `name` of the recording `from`.
  std::string pathOf(const RecordingDirectory& from, const std::string& name) const {
    return path_ + "/" + place_.stem() + name.substr(from.stem.size());
  }

  /// Moves the directory to its place, in one step. Throws CommandError if something is there now.
  void publish() {
    if (::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, place_.native().c_str(), RENAME_NOREPLACE) != 0) {
      throw CommandError(fmt::format("'{}' cannot be made: {}", place_.native(), std::strerror(errno)));
    }
    published_ = true;
  }

 private:
  const OutputDirectory& place_;
  std::string path_;
  bool published_ = false;
};

/// The first finding that is damage, for the user; empty if there is none.
std::string firstDamage(const Verification& verification) {
  for (const Finding& finding : verification.findings.kept()) {
    if (finding.severity != Severity::kDamage) continue;
    const std::string at = finding.offset ? fmt::format("offset {}: ", *finding.offset) : "";
    return fmt::format("'{}': {}{}", finding.file, at, finding.text);
  }
  return "";
}

/// Verifies the new recording, and warns of damage in it.
ExitStatus judge(const std::string& path, Log& log) {
  const Verification verification = verifyRecording(path);
  if (verification.findings.worst() != Severity::kDamage) return ExitStatus::kOk;
  log.warning(fmt::format("the recording is damaged; k2r verify shows everything: {}", firstDamage(verification)));
  return ExitStatus::kFlawed;
}

/// Writes a file and flushes it to the device.
void writeWhole(const std::string& path, std::span<const std::byte> content) {
  if (!platform::os::writeFile(path, content) || !platform::os::syncFile(path)) {
    throw CommandError(fmt::format("'{}' cannot be written", path));
  }
}

/// Converts a recording, file by file.
class Unprotection {
 public:
  Unprotection(const RecordingDirectory& from, const StagedRecording& to, krvo::encryption::SampleDecipher& decipher)
      : from_(from), to_(to), decipher_(decipher) {}

  void run() {
    for (const std::uint32_t number : from_.segments) convert(number);
    // The `.drmmeta` file is not copied: a clear recording has none.
    copy(from_.hasControl, from_.controlName());
    copy(from_.hasMeta, from_.metaName());
    copy(from_.hasBootstrap, from_.bootstrapName());
  }

 private:
  void convert(std::uint32_t number) {
    const std::string segment = from_.segmentName(number);
    const std::string index = from_.indexName(number);
    ruvo::k2r::AfraIndex entries;
    if (from_.indexes.contains(number)) entries = parseAfra(readSmallFile(from_.pathOf(index)));
    std::set<std::uint64_t> positions;
    for (const auto& entry : entries.globalEntries) {
      if (entry.isWritten()) positions.insert(entry.afraOffset);
    }
    const std::string target = to_.pathOf(from_, segment);
    std::map<std::uint64_t, std::uint64_t> moved;
    if (positions.empty() && !hasSegmentHeader(from_.pathOf(segment))) {
      writeWhole(target, {});  // It had just been begun.
    } else {
      moved = writeClearSegment(from_.pathOf(segment), target, positions, decipher_);
      if (!platform::os::syncFile(target)) throw CommandError(fmt::format("'{}' cannot be written", target));
    }
    if (!from_.indexes.contains(number)) return;
    for (auto& entry : entries.globalEntries) {
      // Fragments became shorter, so their positions changed. Numbers and times did not.
      if (entry.isWritten()) entry.afraOffset = moved.at(entry.afraOffset);
    }
    writeWhole(to_.pathOf(from_, index), imageOf(entries));
  }

  void copy(bool there, const std::string& name) {
    if (there) writeWhole(to_.pathOf(from_, name), readSmallFile(from_.pathOf(name)));
  }

  const RecordingDirectory& from_;
  const StagedRecording& to_;
  krvo::encryption::SampleDecipher& decipher_;
};

/// Throws CommandError with the file's name, also for what is no private key. The text in memory is erased.
auto readLicenseServerKey(const std::string& path) {
  try {
    auto content = platform::os::readFile(path, kMaxKeyFile, platform::os::AllowedFile::kAny);
    if (!content) throw CommandError(fmt::format("'{}' cannot be read", path));
    return krvo::encryption::readPrivateKey(krvo::encryption::Secret(*std::move(content)).bytes());
  } catch (const krvo::encryption::UnprotectError& error) {
    throw CommandError(fmt::format("'{}': {}", path, error.what()));
  }
}

}  // namespace

ExitStatus unprotectRecording(const UnprotectOptions& options, Log& log) {
  // Before any secret is in memory.
  platform::os::makeNoDumps();
  const auto licenseServerKey = readLicenseServerKey(options.keyFile);
  const OutputDirectory place(options.output);
  warnOfInterruptedOverwrite(options.directory, log);
  const RecordingDirectory from = readRecordingDirectory(options.directory);
  if (from.empty()) throw CommandError(fmt::format("'{}' contains no recording", options.directory));
  const RecordingKey opened = openRecordingKey(from, *licenseServerKey);
  log.note(fmt::format("content '{}', signed by {}, certificate {}", opened.metadata.content.statement.contentId,
                       opened.metadata.signer, hexText(opened.metadata.signerFingerprint)));

  krvo::encryption::SampleDecipher decipher(opened.key.bytes());
  // What was protected must not be readable for others, not even while it is written.
  const platform::os::PrivateFiles ownerOnly;
  StagedRecording staged(place);
  Unprotection(from, staged, decipher).run();
  const ExitStatus status = judge(staged.path(), log);
  staged.publish();
  return status;
}

}  // namespace host
