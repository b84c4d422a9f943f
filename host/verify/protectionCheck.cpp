#include "host/verify/protectionCheck.h"

#include <fmt/format.h>

#include <optional>
#include <string>

#include "host/errors.h"
#include "host/files/Malformed.h"
#include "host/files/protection.h"
#include "host/files/smallFiles.h"
#include "host/files/tracks.h"
#include "platform/encryption/krvo_unprotect.h"

namespace host {
namespace {

using krvo::encryption::SignedMetadata;

/// The protection in the first description of a track, or nothing. checkProtectedTracks() reports a malformed one.
std::optional<TrackProtection> protectionOf(const krvo::container::Track& track) {
  if (track.descriptions.empty()) return std::nullopt;
  try {
    return readProtection(*track.descriptions.front());
  } catch (const Malformed&) {
    return std::nullopt;
  }
}

/// The signed metadata in `text`, which is Base64. Reports what is wrong with it, and returns nothing then.
std::optional<SignedMetadata> checkText(const std::string& text, const FileFindings& out) {
  try {
    return krvo::encryption::verifyMetadataBlock(metadataBlock(text));
  } catch (const Malformed& error) {
    out.damage(error.what());
  } catch (const krvo::encryption::UnprotectError& error) {
    out.damage(error.what());
  }
  return std::nullopt;
}

/// Reports two different blocks with the same wrapped key. Each recorder wraps a new key, so they were one block, and
/// one copy was changed in a byte that no signature covers.
void compareBlocks(const SignedMetadata& inTracks, const SignedMetadata& inFile, const FileFindings& out) {
  if (inTracks.content.wrappedKey == inFile.content.wrappedKey) {
    out.damage("protection: another form of the metadata than in the tracks");
  }
}

std::string metadataOfTracks(const krvo::container::Movie& movie) {
  for (const auto& track : movie.tracks) {
    if (const auto protection = protectionOf(*track)) return protection->metadata;
  }
  return {};
}

}  // namespace

void checkProtectedTracks(const krvo::container::Movie& movie, std::uint64_t moov, const FileFindings& out) {
  if (!hasProtectedTrack(movie)) return;
  std::optional<std::string> metadata;
  for (const auto& track : movie.tracks) {
    if (track->isHint()) continue;
    const auto fail = [&](const std::string& what) {
      out.damage(moov, fmt::format("{} track: {}", qvs::util::toText(track->handler), what));
    };
    if (!isProtected(*track)) {
      fail("not protected, as others are");
      continue;
    }
    try {
      const auto protection = readProtection(*track->descriptions.front());
      if (metadata && *metadata != protection->metadata) fail("other protection metadata than the first track's");
      metadata = protection->metadata;
    } catch (const Malformed& error) {
      fail(error.what());
    }
  }
}

void checkTagFilter(const SegmentContext& segment, const TagContent& tag) {
  try {
    readTagFilter(segment.file, tag);
  } catch (const Malformed& error) {
    segment.out.damage(error.offset(), error.what());
  }
}

void checkMetadata(const RecordingContext& recording) {
  const std::string inTracks = metadataOfTracks(recording.movie);
  std::optional<SignedMetadata> first;
  if (!inTracks.empty()) {
    first = checkText(inTracks, recording.in(recording.directory.segmentName(*recording.directory.segments.begin())));
  }
  const FileFindings out = recording.in(recording.directory.drmMetaName());
  try {
    const std::string text = readDrmMeta(readSmallFile(recording.directory.pathOf(out.file())));
    if (text == inTracks) return;
    const auto last = checkText(text, out);
    if (first && last) compareBlocks(*first, *last, out);
  } catch (const Malformed& error) {
    out.damage(error.offset(), error.what());
  } catch (const CommandError& error) {
    out.damage(error.what());
  }
}

}  // namespace host
