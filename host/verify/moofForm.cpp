#include "host/verify/moofForm.h"

#include <fmt/format.h>

#include <algorithm>

#include "platform/container/reading/boxes.h"
#include "platform/container/reading/fragmentFlags.h"

namespace host {

using namespace krvo::container;
using qvs::util::ByteReader;
using qvs::util::readVersionAndFlags;
using qvs::util::toText;

namespace {

constexpr std::uint32_t kTfhdFields = kTfhdDescriptionIndex | kTfhdDefaultDuration | kTfhdDefaultSize;
constexpr std::uint32_t kTrunFields = kTrunFirstSampleFlags | kTrunDurations | kTrunSizes | kTrunCompositionOffsets;

class FormChecker {
 public:
  explicit FormChecker(const SegmentContext& segment) : segment_(segment) {}

  void checkMoof(LoadedBox& moof) {
    forEachBox(moof, [this](LoadedBox& box) {
      if (box.type == "mfhd"_4cc) {
        checkWord(box, 0, 0, 0);
      } else if (box.type == "traf"_4cc) {
        checkTraf(box);
      } else {
        refuse(box);
      }
    });
  }

 private:
  void checkTraf(LoadedBox& traf) {
    forEachBox(traf, [this](LoadedBox& box) {
      if (box.type == "tfhd"_4cc) {
        checkTfhd(box);
      } else if (box.type == "tfdt"_4cc) {
        checkWord(box, 1, 0, 0);
      } else if (box.type == "trun"_4cc) {
        checkTrun(box);
      } else {
        refuse(box);
      }
    });
  }

  void checkTfhd(LoadedBox& box) {
    const std::uint32_t flags = checkWord(box, 0, kTfhdDefaultBaseIsMoof | kTfhdDefaultFlags, kTfhdFields);
    readBox(box, [&](ByteReader& in) {
      const std::uint32_t id = in.u32();
      const auto& tracks = segment_.movie.tracks;
      isVideo_ = std::any_of(tracks.begin(), tracks.end(),
                             [id](const auto& track) { return track->id == id && track->isVideo(); });
      for (const auto field : {kTfhdDescriptionIndex, kTfhdDefaultDuration, kTfhdDefaultSize}) {
        if ((flags & field) != 0) in.u32();
      }
      expectFlags(box, "default sample flags", isVideo_ ? kNonSyncSampleFlags : kSyncSampleFlags, in);
    });
  }

  void checkTrun(LoadedBox& box) {
    // Composition offsets are signed from version 1 of the box on.
    const std::uint8_t version = (peekFlags(box) & kTrunCompositionOffsets) != 0 ? 1 : 0;
    const std::uint32_t flags = checkWord(box, version, kTrunDataOffset, kTrunFields);
    if ((flags & kTrunFirstSampleFlags) == 0) return;
    readBox(box, [&](ByteReader& in) {
      in.skip(4 + 4);  // sample count and data offset
      expectFlags(box, "first sample flags", kSyncSampleFlags, in);
    });
  }

  /// The flags of a box, which is not consumed: checkWord() needs the version that the flags demand before it reads
  /// them.
  static std::uint32_t peekFlags(const LoadedBox& box) {
    LoadedBox copy = box;
    return readBox(copy, [](ByteReader& in) { return readVersionAndFlags(in).flags; });
  }

  /// Checks the version and the flags, of which those in `optional` may be set or not. Returns the flags.
  std::uint32_t checkWord(LoadedBox& box, std::uint8_t version, std::uint32_t required, std::uint32_t optional) {
    const auto word = readBox(box, [](ByteReader& in) { return readVersionAndFlags(in); });
    const std::string name = toText(box.type);
    segment_.out.expect(box.offset, name + ": version", version, word.version);
    segment_.out.expect(box.offset, name + ": flags", required, word.flags & ~optional);
    return word.flags;
  }

  void expectFlags(const LoadedBox& box, const char* what, std::uint32_t expected, ByteReader& in) {
    segment_.out.expect(box.offset, fmt::format("{}: {}", toText(box.type), what), expected, in.u32());
  }

  void refuse(const LoadedBox& box) {
    segment_.out.damage(box.offset, fmt::format("{}: not a box that a moof may contain", toText(box.type)));
  }

  const SegmentContext& segment_;
  bool isVideo_ = false;
};

}  // namespace

void checkMoofForm(const SegmentContext& segment, const BoxSpan& moof) {
  const auto payload = loadPayload(segment.file, moof);
  LoadedBox box = loadedBox(moof, payload);
  FormChecker(segment).checkMoof(box);
}

}  // namespace host
