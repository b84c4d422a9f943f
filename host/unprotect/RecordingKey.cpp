#include "host/unprotect/RecordingKey.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/files/FileView.h"
#include "host/files/RecordedSegments.h"
#include "host/files/inFile.h"
#include "host/files/protection.h"
#include "host/files/smallFiles.h"
#include "platform/container/reading/SegmentReader.h"

namespace host {
namespace {

using krvo::encryption::Secret;
using krvo::encryption::SignedMetadata;
using krvo::encryption::UnprotectError;

/// The metadata text of the tracks of a segment, which must be the same in all; empty if no track is protected. Throws
/// Malformed and SegmentError.
std::string segmentMetadata(const std::string& path) {
  FileView file(path);
  const krvo::container::SegmentReader reader(file);
  std::string text;
  for (const auto& track : reader.movie().tracks) {
    for (const auto& description : track->descriptions) {
      const auto protection = readProtection(*description);
      if (!protection) continue;
      if (!text.empty() && text != protection->metadata) throw Malformed(0, "tracks with different metadata");
      text = protection->metadata;
    }
  }
  return text;
}

/// Verifies the signature of a metadata text and opens its content key. `name` is the file, for messages.
RecordingKey openText(const std::string& name, const std::string& text, EVP_PKEY& licenseServerKey) {
  return inFile(name, [&] {
    try {
      auto metadata = krvo::encryption::verifyMetadataBlock(metadataBlock(text));
      auto key = krvo::encryption::openContentKey(metadata, licenseServerKey);
      return RecordingKey{std::move(key), std::move(metadata)};
    } catch (const UnprotectError& error) {
      throw Malformed(0, error.what());
    }
  });
}

/// The metadata that all segments have, and the first of these.
struct CommonMetadata {
  std::string text;
  std::string firstName;
};

CommonMetadata metadataOf(const RecordingDirectory& directory) {
  std::string text;
  std::string firstName;
  for (const std::uint32_t number : directory.segments) {
    const std::string path = directory.pathOf(directory.segmentName(number));
    // The last one may have just been begun.
    if (number != *directory.segments.begin() && !hasSegmentHeader(path)) continue;
    const std::string own = inFile(path, [&] { return segmentMetadata(path); });
    // A clear segment among protected ones is not of the same recorder.
    if (own.empty()) throw CommandError(fmt::format("'{}' is not protected", path));
    if (!text.empty() && own != text) {
      throw CommandError(fmt::format("'{}' has other metadata than '{}'", path, firstName));
    }
    if (text.empty()) firstName = path;
    text = own;
  }
  if (text.empty()) throw CommandError(fmt::format("'{}' has no segment", directory.path));
  return {.text = std::move(text), .firstName = std::move(firstName)};
}

}  // namespace

RecordingKey openRecordingKey(const RecordingDirectory& directory, EVP_PKEY& licenseServerKey) {
  const auto [text, firstName] = metadataOf(directory);
  auto opened = openText(firstName, text, licenseServerKey);

  const std::string drmMeta = directory.pathOf(directory.drmMetaName());
  const std::string last = inFile(drmMeta, [&] { return readDrmMeta(readSmallFile(drmMeta)); });
  if (last == text) return opened;
  // The file was written by a later append. Its signature and its wrapped key are new, so the keys themselves are
  // compared.
  const auto appended = openText(drmMeta, last, licenseServerKey);
  // The same wrapped key in another text: not an append, which wraps the key again.
  if (appended.metadata.content.wrappedKey == opened.metadata.content.wrappedKey) {
    throw CommandError(fmt::format("'{}' has another form of the metadata in '{}'", drmMeta, firstName));
  }
  // Samples do not say under which key they are encrypted.
  if (!std::ranges::equal(appended.key.bytes(), opened.key.bytes())) {
    throw CommandError(
        fmt::format("'{}' has another key than '{}': the recording was continued under it, and nothing "
                    "says which samples are encrypted with which",
                    drmMeta, firstName));
  }
  return opened;
}

}  // namespace host
