#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "platform/container/SegmentReader.h"
#include "tests/support/MemoryStream.h"
#include "tests/support/hex.h"

namespace test {

/// A segment file as lines of text.
class SegmentImage {
 public:
  explicit SegmentImage(std::span<const std::byte> file) {
    using namespace krvo::container;
    MemoryStream source(file);
    SegmentReader reader(source);
    for (const auto& track : reader.movie().tracks) tracks.push_back(describe(*track));
    for (auto box = reader.boxAt(reader.firstFragment()); box; box = reader.boxAt(box->end())) {
      if (box->type != "afra"_4cc) continue;
      const Fragment fragment = reader.readFragment(box->offset);
      positions.push_back(fragment.boxes.position());
      bootstraps.push_back(hex(fragment.abstBody));
      std::string line;
      for (const StoredTag& tag : reader.readTags(fragment)) {
        line += (line.empty() ? "" : " ") + describe(tag, fragment, reader.movie());
      }
      fragments.push_back(line);
    }
  }

  /// "handler name language entry-code codec-header", in file order. A hint track has its versions and packet size in
  /// front of the codec header, and ends in the ids that it refers to.
  std::vector<std::string> tracks;
  /// Where the fragments begin.
  std::vector<std::uint64_t> positions;
  /// The body of each `abst` box.
  std::vector<std::string> bootstraps;
  /// A fragment each: its tags, separated by blanks. "type@time", "/timestamp" where that differs, a star where the
  /// index leads to it, and in brackets the media sample in it: handler, offset and size, with "!" for a sync sample of
  /// video and the composition time in milliseconds where it is not 0.
  std::vector<std::string> fragments;

 private:
  static std::string describe(const krvo::container::Track& track) {
    std::string text = qvs::util::toText(track.handler) + " '" + track.handlerName + "' " +
                       std::string(track.language.begin(), track.language.end());
    for (const auto& entry : track.descriptions) {
      text += " " + qvs::util::toText(entry->formatCode);
      if (const auto* hints = std::get_if<krvo::container::HintFormat>(&entry->format)) {
        for (const int number : {hints->hintTrackVersion, hints->highestCompatibleVersion, hints->maximumPacketSize}) {
          text += " " + std::to_string(number);
        }
      }
      text += " " + hex(entry->codecHeader);
    }
    for (const std::uint32_t id : track.hintedTracks) text += " ->" + std::to_string(id);
    return text;
  }

  static std::string describe(const krvo::container::StoredTag& tag, const krvo::container::Fragment& fragment,
                              const krvo::container::Movie& movie) {
    std::string head;
    std::string media;
    for (const auto& part : fragment.tracks) {
      const auto& track = *movie.tracks.at(part.trackId - 1);
      for (const auto& sample : part.samples) {
        if (sample.offset < tag.offset || sample.offset >= tag.end()) continue;
        if (track.isHint()) {
          head += std::to_string(tag.rawType) + "@" + std::to_string(sample.decodeTime) +
                  (tag.timestamp == sample.decodeTime ? "" : "/" + std::to_string(tag.timestamp));
          continue;
        }
        media += "[" + qvs::util::toText(track.handler) + " " + std::to_string(sample.offset - tag.offset) + "+" +
                 std::to_string(sample.size) + (sample.sync && track.isVideo() ? "!" : "") +
                 (sample.compositionOffset == 0 ? "" : " " + std::to_string(sample.compositionOffset) + "ms") + "]";
      }
    }
    const bool indexed = std::ranges::any_of(fragment.accessPoints, [&](const auto& point) {
      return fragment.boxes.position() + point.offset == tag.offset;
    });
    return head + (indexed ? "*" : "") + media;
  }
};

}  // namespace test
