#include "host/serve/play/StreamFragments.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "host/serve/play/LiveWindow.h"
#include "host/serve/recordingName.h"
#include "host/serve/requestedStream.h"

namespace host::serve {
namespace {

/// How far back the newest fragments of a stream are searched.
constexpr std::int64_t kRecentMs = 600000;

RecordingName nameOf(const RecordingInfo& info) {
  return parseRecordingName(info.name).value_or(RecordingName{});
}

/// Drops the recordings after the one in progress: it has the newest fragments, and what seems to come later was
/// recorded before the clock was set back.
std::vector<RecordingInfo> upToCurrent(std::vector<RecordingInfo> infos) {
  const auto current = std::find_if(infos.rbegin(), infos.rend(), [](const RecordingInfo& info) {
    return info.state == RecordingState::kInProgress;
  });
  if (current != infos.rend()) infos.erase(current.base(), infos.end());
  return infos;
}

}  // namespace

bool StreamFragments::isPlayable(const RecordingInfo& info) {
  return info.isWhole() && !info.isProtected && parseRecordingName(info.name);
}

RecordingPointer StreamFragments::open(const std::string& stream, const RecordingInfo& info) {
  if (!isPlayable(info)) return nullptr;
  return recordings_.get(knownFolder(source_.folderOf(stream)) + "/" + info.name, nameOf(info));
}

std::vector<RecordingPointer> StreamFragments::openAll(const std::string& stream,
                                                       const std::vector<RecordingInfo>& infos) {
  // The newest first. A recording must not miss a fragment that came meanwhile if the next recording has one: a list
  // would have to insert it later.
  std::vector<RecordingPointer> recordings;
  for (auto info = infos.rbegin(); info != infos.rend(); ++info) {
    if (RecordingPointer recording = open(stream, *info)) recordings.push_back(std::move(recording));
  }
  std::ranges::reverse(recordings);
  return recordings;
}

std::vector<PlayedFragment> StreamFragments::newest(const std::string& stream, std::int64_t nowMs) {
  std::vector<PlayedFragment> fragments;
  collectNewest(stream, nowMs - kRecentMs, fragments);
  if (fragments.empty()) collectNewest(stream, 0, fragments);
  std::ranges::reverse(fragments);
  return fragments;
}

void StreamFragments::collectNewest(const std::string& stream, std::int64_t fromMs,
                                    std::vector<PlayedFragment>& fragments) {
  const auto infos = upToCurrent(source_.list(stream, fromMs, RecordingSource::kForEverMs));
  std::uint64_t lengthMs = 0;
  for (auto info = infos.rbegin(); info != infos.rend(); ++info) {
    const RecordingPointer recording = open(stream, *info);
    if (!recording) continue;
    for (std::size_t i = recording->timeline.fragments.size(); i-- > 0;) {
      if (fragments.size() >= LiveWindow::kLeastFragments && lengthMs >= LiveWindow::kLeastMs) return;
      fragments.push_back({recording, i});
      lengthMs += recording->timeline.fragments[i].durationMs;
    }
  }
}

std::optional<std::vector<PlayedFragment>> StreamFragments::following(const std::string& stream,
                                                                      const PlayedFragment& last, std::int64_t nowMs) {
  std::vector<PlayedFragment> fragments;
  const RecordingName& name = last.recording->name;
  auto infos = upToCurrent(source_.list(stream, name.beginMs, RecordingSource::kForEverMs));
  std::erase_if(infos, [&name](const RecordingInfo& info) { return nameOf(info) < name; });
  for (const RecordingPointer& recording : openAll(stream, infos)) {
    const auto& all = recording->timeline.fragments;
    const auto first = recording->name == name
                           ? std::ranges::upper_bound(all, last.timed().number, {}, &TimedFragment::number)
                           : all.begin();
    for (auto i = first; i != all.end(); ++i)
      fragments.push_back({recording, static_cast<std::size_t>(i - all.begin())});
  }
  if (!fragments.empty()) return fragments;
  // A clock that was set back gives new recordings names before this one.
  for (const RecordingInfo& info : source_.list(stream, nowMs - kRecentMs, name.beginMs + 1)) {
    if (info.state == RecordingState::kInProgress && nameOf(info) < name && open(stream, info)) return std::nullopt;
  }
  return fragments;
}

std::vector<PlayedFragment> StreamFragments::in(const std::string& stream, std::int64_t fromMs, std::int64_t toMs) {
  std::vector<PlayedFragment> fragments;
  for (const RecordingPointer& recording : openAll(stream, source_.list(stream, fromMs, toMs))) {
    for (std::size_t i = 0; i < recording->timeline.fragments.size(); ++i) {
      PlayedFragment fragment{recording, i};
      const std::int64_t beginMs = fragment.wallMs();
      const std::int64_t endMs = beginMs + static_cast<std::int64_t>(fragment.timed().durationMs);
      if (beginMs < toMs && endMs > fromMs) fragments.push_back(std::move(fragment));
    }
  }
  return fragments;
}

}  // namespace host::serve
