#include "host/verify/sideFiles.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/errors.h"
#include "host/files/Malformed.h"
#include "host/files/smallFiles.h"
#include "host/files/tracks.h"
#include "host/verify/protectionCheck.h"
#include "server/ScriptReader.h"
#include "util/bytes.h"

namespace host {
namespace {

/// How a stream's description begins: an AMF0 text.
constexpr std::string_view kMetaBegin("\x02\x00\x0AonMetaData", 13);

/// The text, one value, and nothing behind it.
void checkDescription(const std::vector<std::byte>& bytes, const FileFindings& out) {
  const auto begin = qvs::util::asBytes(kMetaBegin);
  const auto difference = std::mismatch(bytes.begin(), bytes.end(), begin.begin(), begin.end());
  if (difference.second != begin.end()) {
    out.damage(static_cast<std::uint64_t>(difference.first - bytes.begin()), "expected the AMF0 text onMetaData");
    return;
  }
  ScriptReader in(bytes);
  NQDataValue name, description;
  try {
    in.readValue(name);
    in.readValue(description);
    if (description.kind() != NQDataKind::kArrayType) out.damage(begin.size(), "description: expected an array");
    if (in.remaining() != 0) out.damage(in.position(), "expected nothing behind the description");
  } catch (const NQBreakConnection&) {
    out.damage(in.position(), "description: malformed script data");
  }
}

void checkProtection(const RecordingContext& recording) {
  const bool isProtected = hasProtectedTrack(recording.movie);
  const bool isThere = recording.directory.hasDrmMeta;
  if (isProtected && isThere) checkMetadata(recording);
  if (isProtected && !isThere) recording.in(recording.directory.drmMetaName()).damage("missing");
  if (!isProtected && isThere) recording.in(recording.directory.drmMetaName()).note("the recording is not protected");
}

}  // namespace

std::optional<std::uint32_t> readBaseTime(const RecordingDirectory& directory, Findings& findings) {
  if (!directory.hasControl) return std::nullopt;
  const FileFindings out(findings, directory.controlName());
  try {
    return parseControl(readSmallFile(directory.pathOf(out.file())));
  } catch (const Malformed& error) {
    // The fragments tell the base time, too: an append makes the file anew.
    out.add(Severity::kRepairable, error.offset(), error.what());
  } catch (const CommandError& error) {
    out.damage(error.what());
  }
  return std::nullopt;
}

void checkNames(const RecordingContext& recording) {
  const RecordingDirectory& directory = recording.directory;
  if (directory.renamed) {
    recording.in(directory.bootstrapName())
        .note("the directory has another name: an append to it would not find the recording");
  }
  for (const std::string& name : directory.temporary) recording.in(name).note("left over by an interruption");
  for (const std::string& name : directory.foreign) recording.in(name).note("no file of the recording");
}

void checkSideFiles(const RecordingContext& recording, bool begun) {
  const RecordingDirectory& directory = recording.directory;
  if (!directory.hasControl) {
    const auto base = recording.bases.base();
    recording.in(directory.controlName())
        .add(Severity::kRepairable, std::nullopt,
             base ? fmt::format("missing: the base time is {}, by the fragments", *base) : "missing");
  }
  if (begun) checkDescriptionFile(recording);
  checkProtection(recording);
}

void checkDescriptionFile(const RecordingContext& recording) {
  const FileFindings out = recording.in(recording.directory.metaName());
  if (!recording.directory.hasMeta) {
    out.damage("missing");
    return;
  }
  try {
    checkDescription(readSmallFile(recording.directory.pathOf(out.file())), out);
  } catch (const CommandError& error) {
    out.damage(error.what());
  }
}

}  // namespace host
