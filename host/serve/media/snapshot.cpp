#include "host/serve/media/snapshot.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <semaphore>

#include "host/files/tracks.h"
#include "host/output.h"
#include "host/serve/http/HttpMessage.h"
#include "host/serve/media/keyFrameJpeg.h"
#include "packaging/CodecBoxes.h"
#include "packaging/tagCodec.h"

namespace host::serve {

using namespace krvo::container;

namespace {

/// A key frame as it is stored.
struct KeyFrame {
  std::vector<std::byte> configuration;
  std::vector<std::byte> sample;
  std::int64_t timeMs = 0;
};

/// The record in the `avcC` of a sample entry.
std::vector<std::byte> configurationOf(const Track& track, const StoredSample& sample) {
  constexpr std::size_t kBoxHeader = 8;
  if (sample.description == 0 || sample.description > track.descriptions.size()) return {};
  const auto& header = track.descriptions[sample.description - 1]->codecHeader;
  const qvs::util::ByteBuffer boxes{std::span<const std::byte>(header)};
  const auto box = ruvo::k2rpkgutil::findAvcCBox(boxes);
  if (box.size() <= kBoxHeader) return {};
  return {box.begin() + kBoxHeader, box.end()};
}

std::optional<KeyFrame> keyFrameOf(const MediaRecording& source, std::int64_t atMs) {
  constexpr std::uint32_t kLargest = std::uint32_t{32} << 20;
  DatedRecording recording(source);
  const auto entry = recording.lastEntry(atMs);
  if (!entry) return std::nullopt;
  const Track* const video = findTrack(recording.movie(), "vide"_4cc);
  if (video == nullptr) return std::nullopt;
  if (!ruvo::k2rpkgutil::isAvcFormat(clearFormat(*video))) {
    throw HttpError{
        501, fmt::format("a snapshot needs AVC, and the stream has '{}'", qvs::util::toText(clearFormat(*video)))};
  }
  if (entry->sample.size > kLargest) throw HttpError{501, "the picture is too large"};
  KeyFrame frame{.configuration = configurationOf(*video, entry->sample),
                 .sample = std::vector<std::byte>(entry->sample.size),
                 .timeMs = entry->presentMs};
  recording.file().read(entry->sample.offset, frame.sample);
  return frame;
}

KeyFrame findKeyFrame(const std::vector<MediaRecording>& recordings, std::int64_t atMs) {
  for (auto recording = recordings.rbegin(); recording != recordings.rend(); ++recording) {
    if (recording->beginMs > atMs) continue;
    if (auto frame = keyFrameOf(*recording, atMs)) return std::move(*frame);
  }
  throw HttpError{404, "there is no picture at or before that time"};
}

}  // namespace

Snapshot snapshotAt(const std::vector<MediaRecording>& recordings, std::optional<std::int64_t> atMs) {
  // A picture may take much memory and time, and a page may ask for many.
  constexpr std::ptrdiff_t kAtOnce = 2;
  static std::counting_semaphore<kAtOnce> slots(kAtOnce);
  if (!slots.try_acquire_for(std::chrono::seconds(5))) throw HttpError{503, "too many snapshots are asked for"};
  struct Release {
    ~Release() { slots.release(); }
  } release;
  const KeyFrame frame = findKeyFrame(recordings, atMs.value_or(std::numeric_limits<std::int64_t>::max()));
  try {
    Snapshot snapshot{.body = {}, .timeMs = frame.timeMs};
    snapshot.body.add(keyFrameJpeg(frame.configuration, frame.sample));
    return snapshot;
  } catch (const PictureError& error) {
    throw HttpError{501, fmt::format("{}: {}", utcText(frame.timeMs), error.what())};
  }
}

}  // namespace host::serve
