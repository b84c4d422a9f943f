#include "host/files/imageFields.h"

#include <fmt/format.h>

#include <algorithm>

#include "util/bytes.h"

namespace host {
namespace {

using ruvo::k2r::AfraIndex;

/// Lists fields that follow each other, and counts their offsets.
class FieldList {
 public:
  void add(std::uint64_t width, std::string name) {
    fields_.push_back({offset_, width, std::move(name)});
    offset_ += width;
  }
  void text(const std::string& value, std::string name) { add(value.size() + 1, std::move(name)); }
  void texts(const std::vector<std::string>& values, const std::string& name) {
    add(1, name + " count");
    for (std::size_t i = 0; i < values.size(); ++i) text(values[i], fmt::format("{} {}", name, i + 1));
  }
  void header(const std::string& type) {
    add(4, type + " box size");
    add(4, type + " type");
    add(1, type + " version");
    add(3, type + " flags");
  }
  std::vector<ImageField> take() { return std::move(fields_); }

 private:
  std::vector<ImageField> fields_;
  std::uint64_t offset_ = 0;
};

void addTable(FieldList& list, const ruvo::k2r::SegmentRunTable& table) {
  list.header("asrt");
  list.texts(table.qualityEntries, "asrt quality entry");
  list.add(4, "segment run count");
  for (std::size_t i = 0; i < table.segmentRuns.size(); ++i) {
    list.add(4, fmt::format("segment run {}: first segment", i + 1));
    list.add(4, fmt::format("segment run {}: fragments per segment", i + 1));
  }
}

void addTable(FieldList& list, const ruvo::k2r::FragmentRunTable& table) {
  list.header("afrt");
  list.add(4, "afrt timescale");
  list.texts(table.qualityEntries, "afrt quality entry");
  list.add(4, "fragment run count");
  for (std::size_t i = 0; i < table.fragmentRuns.size(); ++i) {
    list.add(4, fmt::format("fragment run {}: first fragment", i + 1));
    list.add(8, fmt::format("fragment run {}: first timestamp", i + 1));
    list.add(4, fmt::format("fragment run {}: duration", i + 1));
    // The byte is only there if the duration is 0.
    if (table.fragmentRuns[i].isDiscontinuity()) list.add(1, fmt::format("fragment run {}: discontinuity", i + 1));
  }
}

}  // namespace

std::vector<ImageField> listFields(const ruvo::k2r::BootstrapInfo& info) {
  FieldList list;
  list.header("abst");
  list.add(4, "bootstrap version");
  list.add(1, "profile, live, update");
  list.add(4, "timescale");
  list.add(8, "current media time");
  list.add(8, "SMPTE offset");
  list.text(info.movieIdentifier, "movie identifier");
  list.texts(info.serverEntries, "server entry");
  list.texts(info.qualityEntries, "quality entry");
  list.text(info.drmData, "DRM data");
  list.text(info.metadata, "metadata");
  list.add(1, "segment run table count");
  for (const auto& table : info.segmentRunTables) addTable(list, table);
  list.add(1, "fragment run table count");
  for (const auto& table : info.fragmentRunTables) addTable(list, table);
  return list.take();
}

std::uint64_t localEntryOffset(const AfraIndex& index, std::size_t entry) {
  // After the fields in fieldNameAt().
  constexpr std::uint64_t kFirst = 21;
  return kFirst + entry * (index.longOffsets ? 16U : 12U);
}

std::uint64_t globalEntryOffset(const AfraIndex& index, std::size_t entry) {
  const std::uint64_t size = 8 + 2 * (index.longIds ? 4U : 2U) + 2 * (index.longOffsets ? 8U : 4U);
  return localEntryOffset(index, index.localEntries.size()) + 4 + entry * size;
}

std::string fieldNameAt(const AfraIndex& index, std::uint64_t offset) {
  constexpr struct {
    std::uint64_t end;
    const char* name;
  } kFields[] = {{4, "box size"},    {8, "type"},       {9, "version"},           {12, "flags"},
                 {13, "sizes byte"}, {17, "timescale"}, {21, "local entry count"}};
  for (const auto& field : kFields) {
    if (offset < field.end) return field.name;
  }
  const std::uint64_t globals = localEntryOffset(index, index.localEntries.size());
  if (offset < globals) return fmt::format("local entry {}", (offset - 21) / (index.longOffsets ? 16 : 12) + 1);
  const std::uint64_t first = globalEntryOffset(index, 0);
  if (offset < first) return "entry count";
  return fmt::format("entry {}", (offset - first) / (globalEntryOffset(index, 1) - first) + 1);
}

std::string fieldText(std::span<const std::byte> image, const ImageField& field) {
  const auto begin = static_cast<std::size_t>(std::min<std::uint64_t>(field.offset, image.size()));
  const auto bytes =
      image.subspan(begin, std::min<std::size_t>(static_cast<std::size_t>(field.width), image.size() - begin));
  qvs::util::ByteReader reader(bytes);
  // The image may be cut off within the field; what is there is then shown in hexadecimal.
  if (bytes.size() == field.width) {
    switch (field.width) {
      case 1:
        return std::to_string(reader.u8());
      case 3:
        return std::to_string(reader.u24());
      case 4:
        return std::to_string(reader.u32());
      case 8:
        return std::to_string(reader.u64());
    }
  }
  std::string text = "0x";
  for (const std::byte byte : bytes.first(std::min<std::size_t>(bytes.size(), 32))) {
    text += fmt::format("{:02x}", std::to_integer<unsigned>(byte));
  }
  return text;
}

}  // namespace host
