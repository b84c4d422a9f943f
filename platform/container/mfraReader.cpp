#include "platform/container/mfraReader.h"

#include <algorithm>

namespace krvo::container {
namespace {

using qvs::util::ByteReader;
using qvs::util::MalformedInput;

constexpr std::uint64_t kEntrySize = 28;

void readTfra(ByteReader& in, std::vector<RandomAccessTable::Entry>& entries) {
  if (qvs::util::readVersionAndFlags(in).version != 1) throw MalformedInput("version 1 expected");
  const std::uint32_t trackId = in.u32();
  if (in.u32() != RandomAccessTable::kNumberWidths) throw MalformedInput("numbers of four bytes expected");
  const std::uint32_t count = in.u32();
  in.need(count * kEntrySize);
  entries.reserve(entries.size() + count);
  for (std::uint32_t i = 0; i < count; ++i) {
    RandomAccessTable::Entry entry;
    entry.trackId = trackId;
    entry.time = in.u64();
    entry.moofOffset = in.u64();
    entry.trafNumber = in.u32();
    entry.trunNumber = in.u32();
    entry.sampleNumber = in.u32();
    if (entry.moofOffset == 0) throw MalformedInput("the offset of a `moof` expected");
    entries.push_back(entry);
  }
}

void readMfro(ByteReader& in, std::uint64_t mfraSize) {
  in.skip(4);
  if (in.u32() != mfraSize) throw MalformedInput("the size of the `mfra` expected");
}

}  // namespace

RandomAccessTable readMfra(Source& source, const BoxSpan& box) {
  const auto payload = loadPayload(source, box);
  LoadedBox mfra = loadedBox(box, payload);
  std::vector<RandomAccessTable::Entry> entries;
  bool hasMfro = false;
  forEachBox(mfra, [&](LoadedBox& inner) {
    readBox(inner, [&](ByteReader& in) {
      if (inner.type == "tfra"_4cc) readTfra(in, entries);
      if (inner.type == "mfro"_4cc) readMfro(in, box.size);
    });
    hasMfro = inner.type == "mfro"_4cc;
  });
  if (!hasMfro) throw SegmentError(box.offset, "`mfra` without `mfro` at its end");
  // Tracks come one behind another; the table is in the order of the file.
  std::stable_sort(entries.begin(), entries.end(),
                   [](const auto& a, const auto& b) { return a.moofOffset < b.moofOffset; });
  RandomAccessTable table;
  for (const auto& entry : entries) table.add(entry);
  return table;
}

}  // namespace krvo::container
