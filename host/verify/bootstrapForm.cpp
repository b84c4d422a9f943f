#include "host/verify/bootstrapForm.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/files/imageFields.h"
#include "host/files/smallFiles.h"

namespace host {
namespace {

using ruvo::k2r::BootstrapInfo;

std::string nameOfFieldAt(const BootstrapInfo& info, std::uint64_t offset) {
  for (const ImageField& field : listFields(info)) {
    if (offset < field.end()) return field.name;
  }
  return "bytes after the box";
}

/// `info` with the fields that are the same in every recording set to their values.
BootstrapInfo withFixedFields(BootstrapInfo info) {
  const BootstrapInfo fresh;
  info.profile = fresh.profile;
  info.live = true;
  info.update = fresh.update;
  info.timescale = fresh.timescale;
  info.smpteOffset = fresh.smpteOffset;
  info.movieIdentifier.clear();
  info.serverEntries.clear();
  info.qualityEntries.clear();
  info.drmData.clear();
  info.metadata.clear();
  info.segmentRunTables.resize(1);
  info.fragmentRunTables.resize(1);
  info.segmentRunTables[0].update = false;
  info.segmentRunTables[0].qualityEntries.clear();
  info.fragmentRunTables[0].update = false;
  info.fragmentRunTables[0].timescale = ruvo::k2r::FragmentRunTable().timescale;
  info.fragmentRunTables[0].qualityEntries.clear();
  return info;
}

}  // namespace

bool checkBootstrapForm(std::span<const std::byte> bytes, const BootstrapInfo& info, std::uint64_t offset,
                        const FileFindings& out) {
  if (const auto place = firstDifference(imageOf(info), bytes)) {
    out.damage(offset + *place, nameOfFieldAt(info, *place) + ": not as a recorder writes it");
    return false;
  }
  const BootstrapInfo fixed = withFixedFields(info);
  if (fixed == info) return true;
  reportDifferences(fixed, info, offset, out);
  return false;
}

void reportDifferences(const BootstrapInfo& expected, const BootstrapInfo& found, std::uint64_t offset,
                       const FileFindings& out) {
  const auto expectedImage = imageOf(expected);
  const auto foundImage = imageOf(found);
  const auto expectedFields = listFields(expected);
  const auto foundFields = listFields(found);
  const std::size_t count = std::min(expectedFields.size(), foundFields.size());
  for (std::size_t i = 0; i < count; ++i) {
    const ImageField& field = foundFields[i];
    if (field.name.ends_with("box size")) continue;  // computed from the other fields, which are reported themselves
    // From here on the two lists are not aligned, and every further difference would be a consequence of this one.
    if (field.name != expectedFields[i].name) return;
    const std::string expectedText = fieldText(expectedImage, expectedFields[i]);
    const std::string foundText = fieldText(foundImage, field);
    if (expectedText == foundText) continue;
    out.damage(offset + field.offset, fmt::format("{}: expected {}, found {}", field.name, expectedText, foundText));
    if (field.width != expectedFields[i].width) return;
  }
}

}  // namespace host
