#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "tests/support/hex.h"
#include "util/box.h"
#include "util/bytes.h"
#include "util/tagHeader.h"

namespace test {

/// A segment file taken apart by the boxes alone, as any reader of such files would, into lines of text.
class SegmentImage {
 public:
  explicit SegmentImage(std::span<const std::byte> file) : file_(file) {
    for (qvs::util::ByteReader in(file); in.remaining() > 0;) {
      const std::size_t start = in.position();
      const qvs::util::BoxView box = qvs::util::nextBox(in);
      const std::string type = qvs::util::toText(box.type);
      if (type == "moov") readMovie(box.payload);
      if (type == "afra") beginFragment(start, box.payload);
      if (type == "abst") bootstraps.push_back(hex(body(box.payload)).substr(9));
      if (type == "moof") readMoof(start, box.payload);
    }
  }

  /// "handler name language entry-code codec-header", in file order; a hint track ends in the ids that it refers to.
  std::vector<std::string> tracks;
  /// Where the fragments begin.
  std::vector<std::uint64_t> positions;
  /// The body of each `abst` box.
  std::vector<std::string> bootstraps;
  /// A fragment each: its tags, separated by blanks. "type@time", "/timestamp" where that differs, a star where the
  /// index leads to it, and in brackets the media sample in it: handler, offset and size, with "!" for a sync sample of
  /// video.
  std::vector<std::string> fragments;

 private:
  using ByteReader = qvs::util::ByteReader;

  static std::span<const std::byte> body(ByteReader box) { return box.bytes(box.remaining()); }

  template <typename Visit>
  static void forEachBox(ByteReader in, Visit visit) {
    while (in.remaining() > 0) {
      const qvs::util::BoxView box = qvs::util::nextBox(in);
      visit(qvs::util::toText(box.type), box.payload);
    }
  }

  void readMovie(ByteReader moov) {
    forEachBox(moov, [this](const std::string& type, ByteReader trak) {
      if (type == "trak") readTrack(trak);
    });
  }

  struct TrackText {
    std::uint32_t id = 0;
    std::string handler, name, language, entry, references;
  };

  void readTrack(ByteReader trak) {
    TrackText text;
    readTrackBoxes(trak, text);
    handlers_[text.id] = text.handler;
    tracks.push_back(text.handler + " '" + text.name + "' " + text.language + " " + text.entry + text.references);
  }

  static void readTrackBoxes(ByteReader in, TrackText& text) {
    forEachBox(in, [&text](const std::string& type, ByteReader box) {
      if (type == "mdia" || type == "minf" || type == "stbl" || type == "tref") readTrackBoxes(box, text);
      if (type == "tkhd") {
        box.skip(box.u8() == 1 ? 19 : 11);
        text.id = box.u32();
      } else if (type == "mdhd") {
        box.skip(box.u8() == 1 ? 31 : 19);
        const std::uint16_t packed = box.u16();
        for (const int shift : {10, 5, 0}) text.language += static_cast<char>((packed >> shift & 31) + 0x60);
      } else if (type == "hdlr") {
        box.skip(8);
        text.handler = qvs::util::toText(box.u32());
        box.skip(12);
        for (char c = 0; (c = static_cast<char>(box.u8())) != 0;) text.name += c;
      } else if (type == "stsd") {
        box.skip(8);
        forEachBox(box, [&text](const std::string& code, ByteReader entry) {
          entry.skip(text.handler == "vide" ? 78 : text.handler == "soun" ? 28 : 8);
          text.entry += code + " " + hex(body(entry));
        });
      } else if (type == "hint") {
        while (box.remaining() > 0) text.references += " ->" + std::to_string(box.u32());
      }
    });
  }

  void beginFragment(std::size_t start, ByteReader afra) {
    positions.push_back(start);
    indexed_.clear();
    afra.skip(4 + 1 + 4);  // version and flags, sizes, timescale
    for (std::uint32_t count = afra.u32(); count > 0; --count) {
      afra.skip(8);
      indexed_[start + afra.u64()] = true;
    }
  }

  struct Stored {
    std::uint64_t offset = 0;
    std::uint32_t size = 0;
    std::uint64_t time = 0;
    bool sync = false;
  };

  void readMoof(std::size_t start, ByteReader moof) {
    std::map<std::string, std::vector<Stored>> samples;
    forEachBox(moof, [&](const std::string& type, ByteReader traf) {
      if (type == "traf") readTraf(start, traf, samples);
    });
    std::string line;
    for (const Stored& tag : samples["hint"]) {
      const std::uint32_t timestamp = qvs::util::tagTimestamp(&file_[tag.offset]);
      line += (line.empty() ? "" : " ") + std::to_string(std::to_integer<int>(file_[tag.offset])) + "@" +
              std::to_string(tag.time) + (timestamp == tag.time ? "" : "/" + std::to_string(timestamp)) +
              (indexed_.count(tag.offset) != 0 ? "*" : "");
      for (const auto& [handler, list] : samples) {
        if (handler == "hint") continue;
        for (const Stored& media : list) {
          if (media.offset < tag.offset || media.offset >= tag.offset + tag.size) continue;
          line += "[" + handler + " " + std::to_string(media.offset - tag.offset) + "+" + std::to_string(media.size) +
                  (media.sync && handler == "vide" ? "!]" : "]");
        }
      }
    }
    fragments.push_back(line);
  }

  void readTraf(std::size_t moofStart, ByteReader traf, std::map<std::string, std::vector<Stored>>& samples) {
    std::uint32_t track = 0;
    std::uint32_t duration = 0;
    std::uint32_t size = 0;
    std::uint32_t sampleFlags = 0;
    std::uint64_t time = 0;
    forEachBox(traf, [&](const std::string& type, ByteReader box) {
      const auto head = qvs::util::readVersionAndFlags(box);
      const auto field = [&](std::uint32_t bit, std::uint32_t value) {
        return (head.flags & bit) != 0 ? box.u32() : value;
      };
      if (type == "tfhd") {
        track = box.u32();
        duration = field(0x8, 0);
        size = field(0x10, 0);
        sampleFlags = field(0x20, 0);
      } else if (type == "tfdt") {
        time = head.version == 1 ? box.u64() : box.u32();
      } else if (type == "trun") {
        const std::uint32_t count = box.u32();
        std::uint64_t offset = moofStart + field(0x1, 0);
        const std::uint32_t firstFlags = field(0x4, sampleFlags);
        for (std::uint32_t i = 0; i < count; ++i) {
          Stored sample{.offset = offset, .size = 0, .time = time, .sync = false};
          time += field(0x100, duration);
          sample.size = field(0x200, size);
          sample.sync = (field(0x400, i == 0 ? firstFlags : sampleFlags) & 0x10000) == 0;
          field(0x800, 0);
          offset += sample.size;
          samples[handlers_.at(track)].push_back(sample);
        }
      }
    });
  }

  std::span<const std::byte> file_;
  std::map<std::uint32_t, std::string> handlers_;
  std::map<std::uint64_t, bool> indexed_;
};

}  // namespace test
