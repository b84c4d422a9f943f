#include "host/inspect/overviewText.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/inspect/timeBar.h"

namespace host {
namespace {

constexpr double kMsPerSecond = 1000.0;

std::string seconds(std::uint64_t milliseconds) {
  return fmt::format("{:.3f} s", static_cast<double>(milliseconds) / kMsPerSecond);
}

std::string plural(std::uint64_t count, std::string_view noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

/// The common name of a codec, followed by its code, by which other programs call it.
std::string codecName(const std::string& format) {
  constexpr std::pair<std::string_view, std::string_view> kNames[] = {
      {"avc1", "H.264"}, {"H264", "H.264"}, {"mp4a", "AAC"}, {".mp3", "MP3"}};
  for (const auto& [code, name] : kNames) {
    if (format == code) return fmt::format("{} ({})", name, code);
  }
  return format;
}

const char* trackLabel(const TrackOverview& track) {
  if (track.handler == "vide") return "video";
  return track.handler == "soun" ? "audio" : "data";
}

std::string trackText(const TrackOverview& track) {
  // Script data have neither a codec nor a rate that would say anything.
  if (track.handler == "meta") return fmt::format("script data, {}", plural(track.samples, "message"));
  std::string text = codecName(track.format);
  if (track.width != 0 && track.height != 0) text += fmt::format(", {}x{}", track.width, track.height);
  if (track.sampleRate != 0) text += fmt::format(", {} Hz", track.sampleRate);
  if (track.channels != 0) text += ", " + plural(track.channels, "channel");
  if (track.samples == 0) return text + ", nothing recorded";
  if (const auto rate = track.frameRate(); rate && track.handler == "vide")
    text += fmt::format(", {:.2f} frames/s", *rate);
  if (const auto rate = track.bitRate()) text += fmt::format(", {:.0f} kbit/s", *rate / kMsPerSecond);
  return text;
}

std::string stateText(const RecordingOverview& overview) {
  switch (overview.state) {
    case EndState::kEnded:
      return "ended";
    case EndState::kBeingWritten:
      return "being written by " + overview.writer;
    case EndState::kUnknown:
      return "unknown: the bootstrap cannot be read";
    case EndState::kNotEnded:
      break;
  }
  // The module writes the bootstrap with the first fragment.
  if (!overview.hasBootstrap) return "not ended: just begun, or interrupted before its first fragment was complete";
  return "not ended: still being recorded, or interrupted (k2r repair ends an interrupted recording)";
}

std::string lengthText(const RecordingOverview& overview) {
  if (overview.fragments.empty()) return "no pictures and no sound yet";
  const std::string length = timeText(overview.lengthMs);
  if (overview.gapMs() == 0) return length;
  return fmt::format("{}, of which {} is missing", length, timeText(overview.gapMs()));
}

std::string sizeText(const RecordingOverview& overview) {
  constexpr double kMega = 1e6;
  return fmt::format("{} bytes ({:.1f} MB), {}", overview.bytes, static_cast<double>(overview.bytes) / kMega,
                     plural(overview.segments, "segment"));
}

std::string fragmentsText(const RecordingOverview& overview) {
  std::string text = std::to_string(overview.fragmentCount);
  // Fragments of script data alone have no place on the time line.
  const std::uint64_t others = overview.fragmentCount - overview.fragments.size();
  if (others != 0) text += fmt::format(", {} of them without pictures and sound", others);
  if (overview.fragments.empty()) return text;
  const DurationRange range = durationRange(overview.fragments);
  return text + fmt::format("; shortest {}, median {}, longest {}", seconds(range.shortestMs), seconds(range.medianMs),
                            seconds(range.longestMs));
}

std::string protectionText(const RecordingOverview& overview) {
  if (!overview.isProtected) return "no";
  const auto text = [&](const char* key) { return overview.protection.value(key, std::string()); };
  if (!overview.protection.is_object()) return "yes";
  if (overview.protection.contains("unreadable"))
    return "yes, with metadata that cannot be read: " + text("unreadable");
  return fmt::format("yes; content {}, license server {}", text("contentId"), text("licenseServerUrl"));
}

/// The labels are as wide as the longest of them, so that the values are one below the other.
class Lines {
 public:
  void add(std::string_view label, const std::string& text) {
    text_ += fmt::format("  {:<11} {}\n", fmt::format("{}:", label), text);
  }
  void addWhole(const std::string& line) { text_ += line + '\n'; }
  std::string take() { return std::move(text_); }

 private:
  std::string text_;
};

void addGaps(const RecordingOverview& overview, Lines& lines) {
  constexpr std::size_t kShown = 10;
  const auto& gaps = overview.gaps;
  lines.add("gaps", gaps.empty() ? "none" : fmt::format("{}, {} in all", gaps.size(), timeText(overview.gapMs())));
  for (std::size_t i = 0; i < std::min(gaps.size(), kShown); ++i) {
    // A gap of no length is a place where the recording's times fall.
    const std::string length = gaps[i].durationMs == 0 ? "the times go back" : seconds(gaps[i].durationMs);
    lines.addWhole(fmt::format("    at {}: {}", timeText(gaps[i].startMs), length));
  }
  if (gaps.size() > kShown) lines.addWhole(fmt::format("    and {} more", gaps.size() - kShown));
}

void addTimeBar(const RecordingOverview& overview, std::size_t columns, Lines& lines) {
  const std::string bar = timeBar(overview, columns);
  if (bar.empty()) return;
  lines.addWhole(bar);
  lines.addWhole(fmt::format("= recorded  | a fragment begins  . gap  ! gap in a part of the column ({} a column)",
                             seconds(overview.lengthMs / columns)));
}

/// In the document null says that a value does not exist or is not known; 0 would be a wrong value.
Json orNull(std::uint64_t value) {
  return value == 0 ? Json() : Json(value);
}
Json orNull(const std::optional<double>& value) {
  return value ? Json(*value) : Json();
}
Json orNull(const std::string& value) {
  return value.empty() ? Json() : Json(value);
}

Json trackJson(const TrackOverview& track) {
  return {{"id", track.id},
          {"handler", track.handler},
          {"format", track.format},
          {"width", orNull(track.width)},
          {"height", orNull(track.height)},
          {"sampleRate", orNull(track.sampleRate)},
          {"channels", orNull(track.channels)},
          {"samples", track.samples},
          {"sampleBytes", track.bytes},
          {"samplesPerSecond", orNull(track.frameRate())},
          {"bitsPerSecond", orNull(track.bitRate())}};
}

Json rangeJson(const std::vector<TimedStretch>& fragments) {
  if (fragments.empty()) return {};
  const DurationRange range = durationRange(fragments);
  return {{"shortest", range.shortestMs}, {"median", range.medianMs}, {"longest", range.longestMs}};
}

}  // namespace

std::string overviewText(const RecordingOverview& overview, std::size_t columns) {
  Lines lines;
  lines.addWhole(overview.path);
  lines.add("state", stateText(overview));
  if (!overview.damage.empty()) lines.add("damage", overview.damage + " (k2r verify lists all)");
  lines.add("length", lengthText(overview));
  if (overview.recordedSinceMs) lines.add("begin", utcText(*overview.recordedSinceMs));
  for (const TrackOverview& track : overview.tracks) lines.add(trackLabel(track), trackText(track));
  lines.add("size", sizeText(overview));
  lines.add("fragments", fragmentsText(overview));
  if (overview.faultCount != 0) lines.add("unreadable", plural(overview.faultCount, "place") + ", left out here");
  addGaps(overview, lines);
  lines.add("protected", protectionText(overview));
  addTimeBar(overview, columns, lines);
  return lines.take();
}

Json overviewJson(const RecordingOverview& overview) {
  // In the order of EndState. Part of the interface for scripts (docs/json.md).
  const char* const states[] = {"ended", "beingWritten", "notEnded", "unknown"};
  Json tracks = Json::array();
  for (const TrackOverview& track : overview.tracks) tracks.push_back(trackJson(track));
  Json gaps = Json::array();
  for (const TimedStretch& gap : overview.gaps) gaps.push_back({{"start", gap.startMs}, {"duration", gap.durationMs}});
  return {{"state", states[static_cast<std::size_t>(overview.state)]},
          {"writer", orNull(overview.writer)},
          {"duration", overview.lengthMs},
          {"recordedSince", overview.recordedSinceMs ? Json(utcText(*overview.recordedSinceMs)) : Json()},
          {"tracks", std::move(tracks)},
          {"bytes", overview.bytes},
          {"segments", overview.segments},
          {"fragments", overview.fragmentCount},
          {"fragmentDurations", rangeJson(overview.fragments)},
          {"gaps", std::move(gaps)},
          {"gapDuration", overview.gapMs()},
          {"protected", overview.isProtected},
          {"protection", overview.protection},
          {"damage", orNull(overview.damage)},
          {"unreadable", overview.faults},
          {"unreadableCount", overview.faultCount}};
}

}  // namespace host
