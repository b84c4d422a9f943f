#include "host/unprotect/unprotectRecording.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>

#include "host/OutputDirectory.h"
#include "host/errors.h"
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

constexpr std::size_t kMaxKeyFile = 1 << 20;

/// The new recording while it is made: in a directory beside its place, with the names that it will have there.
class Workshop {
 public:
  explicit Workshop(const OutputDirectory& place) : place_(place), path_(place.native() + ".unprotecting") {
    std::error_code error;
    if (fs::exists(fs::symlink_status(place.native(), error))) {
      throw CommandError(fmt::format("'{}' exists; nothing was changed", place.native()));
    }
    if (!platform::os::makeDirectory(path_, platform::os::Durability::kDevice)) {
      throw CommandError(fmt::format("'{}' cannot be made: {}", path_, std::strerror(errno)));
    }
  }
  ~Workshop() {
    std::error_code ignored;
    if (!delivered_) fs::remove_all(path_, ignored);
  }
  Workshop(const Workshop&) = delete;
  Workshop& operator=(const Workshop&) = delete;

  const std::string& path() const { return path_; }
  /// For a file of the recording `from`.
  std::string pathOf(const RecordingDirectory& from, const std::string& name) const {
    return path_ + "/" + place_.stem() + name.substr(from.stem.size());
  }

  void deliver() {
    if (::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, place_.native().c_str(), RENAME_NOREPLACE) != 0) {
      throw CommandError(fmt::format("'{}' cannot be made: {}", place_.native(), std::strerror(errno)));
    }
    delivered_ = true;
  }

 private:
  const OutputDirectory& place_;
  std::string path_;
  bool delivered_ = false;
};

std::string firstDamage(const Verification& verification) {
  for (const Finding& finding : verification.findings.kept()) {
    if (finding.severity != Severity::kDamage) continue;
    const std::string at = finding.offset ? fmt::format("offset {}: ", *finding.offset) : "";
    return fmt::format("'{}': {}{}", finding.file, at, finding.text);
  }
  return "";
}

ExitStatus judge(const std::string& path, Log& log) {
  const Verification verification = verifyRecording(path);
  if (verification.findings.worst() != Severity::kDamage) return ExitStatus::kOk;
  log.warning(fmt::format("the recording is damaged; k2r verify tells all: {}", firstDamage(verification)));
  return ExitStatus::kFlawed;
}

void writeWhole(const std::string& path, std::span<const std::byte> content) {
  if (!platform::os::writeFile(path, content) || !platform::os::syncFile(path)) {
    throw CommandError(fmt::format("'{}' cannot be written", path));
  }
}

class Unprotection {
 public:
  Unprotection(const RecordingDirectory& from, const Workshop& to, krvo::encryption::SampleDecipher& decipher)
      : from_(from), to_(to), decipher_(decipher) {}

  void run() {
    for (const std::uint32_t number : from_.segments) convert(number);
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
      if (entry.isWritten()) entry.afraOffset = moved.at(entry.afraOffset);
    }
    writeWhole(to_.pathOf(from_, index), imageOf(entries));
  }

  void copy(bool there, const std::string& name) {
    if (there) writeWhole(to_.pathOf(from_, name), readSmallFile(from_.pathOf(name)));
  }

  const RecordingDirectory& from_;
  const Workshop& to_;
  krvo::encryption::SampleDecipher& decipher_;
};

}  // namespace

ExitStatus unprotectRecording(const UnprotectOptions& options, Log& log) {
  platform::os::makeNoDumps();
  const auto licenseServerKey = [&] {
    try {
      auto content = platform::os::readFile(options.keyFile, kMaxKeyFile, platform::os::FileKind::kAny);
      if (!content) throw CommandError(fmt::format("'{}' cannot be read", options.keyFile));
      return krvo::encryption::readPrivateKey(krvo::encryption::Secret(*std::move(content)).bytes());
    } catch (const krvo::encryption::UnprotectError& error) {
      throw CommandError(fmt::format("'{}': {}", options.keyFile, error.what()));
    }
  }();
  const OutputDirectory place(options.output);
  tellInterruptedOverwrite(options.directory, log);
  const RecordingDirectory from = readRecordingDirectory(options.directory);
  if (from.empty()) throw CommandError(fmt::format("'{}' holds no recording", options.directory));
  const RecordingKey opened = openRecordingKey(from, *licenseServerKey);
  log.note(fmt::format("content '{}', signed by {}, certificate {}", opened.metadata.content.statement.contentId,
                       opened.metadata.signer, hexText(opened.metadata.signerFingerprint)));

  krvo::encryption::SampleDecipher decipher(opened.key.bytes());
  const platform::os::PrivateFiles ownerOnly;  // What was protected is for the owner alone, from its first byte.
  Workshop workshop(place);
  Unprotection(from, workshop, decipher).run();
  const ExitStatus status = judge(workshop.path(), log);
  workshop.deliver();
  return status;
}

}  // namespace host
