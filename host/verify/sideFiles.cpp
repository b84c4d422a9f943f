#include "host/verify/sideFiles.h"

#include <fmt/format.h>

#include <algorithm>
#include <variant>

#include "host/DirectoryLock.h"
#include "host/errors.h"
#include "host/files/Malformed.h"
#include "host/files/smallFiles.h"
#include "host/files/tracks.h"
#include "host/verify/protectionCheck.h"
#include "server/ScriptReader.h"
#include "util/bytes.h"

namespace host {

using qvs::util::operator""_4cc;

namespace {

/// The start of a description: an AMF0 string, with its marker and its 16-bit length.
constexpr std::string_view kMetaBegin("\x02\x00\x0AonMetaData", 13);

/// Compares a number of the description with the video track's header. The sample entry contains it a third
/// time and decides which of the two is wrong. It has 16 bits, so a larger number cannot be compared.
void comparePixels(const RecordingContext& recording, const FileFindings& out, std::string_view name, double described,
                   float inTrack, std::uint16_t inDescription) {
  if (described == static_cast<double>(inTrack) || described > UINT16_MAX) return;
  if (described == inDescription) {
    recording.in(recording.directory.segmentName(*recording.directory.segments.begin()))
        .damage(fmt::format("moov: vide track: {}: expected {}, found {}", name, described, inTrack));
  } else {
    out.damage(fmt::format("{}: expected {}, found {}", name, inTrack, described));
  }
}

/// Checks width and height in the members of the description.
void checkPictureSize(const RecordingContext& recording, const NQDataArray& members, const FileFindings& out) {
  const krvo::container::Track* const track = findTrack(recording.movie, "vide"_4cc);
  if (track == nullptr || track->descriptions.empty()) return;
  const auto* const format = std::get_if<krvo::container::VideoFormat>(&track->descriptions.front()->format);
  if (format == nullptr) return;
  for (std::size_t i = 0; i < members.size(); ++i) {
    const NQDataValue& value = members.value(i);
    if (value.kind() != NQDataKind::kNumberType) continue;
    const std::string name = members.name(i);
    if (name == "width") comparePixels(recording, out, name, value.toDouble(), track->width, format->width);
    if (name == "height") comparePixels(recording, out, name, value.toDouble(), track->height, format->height);
  }
}

/// Checks that the description is the string, one array, and nothing else.
void checkDescription(const RecordingContext& recording, const std::vector<std::byte>& bytes, const FileFindings& out) {
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
    if (description.kind() != NQDataKind::kArrayType) {
      out.damage(begin.size(), "description: expected an array");
    } else {
      checkPictureSize(recording, *description.array(), out);
    }
    if (in.remaining() != 0) out.damage(in.position(), "expected nothing after the description");
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
    // Not damage: the fragments imply the base time as well, and an append writes the file again.
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
        .note("the directory was renamed: an append to it would not find the recording");
  }
  const std::string writer = lockHolder(directory.path);
  // While a long segment is recorded, two index files take turns.
  const std::string why =
      writer.empty() ? "left over by an interruption" : "belongs to " + writer + ", which is writing the recording";
  for (const std::string& name : directory.temporary) recording.in(name).note(why);
  for (const std::string& name : directory.foreign) recording.in(name).note("does not belong to the recording");
}

void checkSideFiles(const RecordingContext& recording, bool begun) {
  const RecordingDirectory& directory = recording.directory;
  if (!directory.hasControl) {
    const auto base = recording.bases.base();
    recording.in(directory.controlName())
        .add(Severity::kRepairable, std::nullopt,
             base ? fmt::format("missing: the base time is {}, according to the fragments", *base) : "missing");
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
    checkDescription(recording, readSmallFile(recording.directory.pathOf(out.file())), out);
  } catch (const CommandError& error) {
    out.damage(error.what());
  }
}

}  // namespace host
