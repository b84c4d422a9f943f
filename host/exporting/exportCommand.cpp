#include <fmt/format.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>

#include "host/Log.h"
#include "host/OutputDirectory.h"
#include "host/commands.h"
#include "host/errors.h"
#include "host/exporting/Mp4File.h"
#include "host/exporting/MtgFile.h"
#include "host/files/FreshFile.h"
#include "host/files/smallFiles.h"
#include "host/input/AvLogRoute.h"
#include "host/optionValues.h"
#include "host/output.h"
#include "host/plain/RecordedTimeline.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFooter =
    R"(FILE ends in .mtg or .mp4, or is - for a tag stream on standard output.

  .mtg  a tag stream: the description, the configuration of each track, and
        every tag as it was recorded; k2r record makes the same recording of it
        again, without sound that is earlier than the first picture
  .mp4  a plain file that plays everywhere; it has AVC, AAC and MP3, and no
        script data

T is in seconds or [[H:]M:]S, with up to three decimals, such as 75.5 or
0:01:15.500, counted from the first tag. The part begins with the key frame at
or before --from, and ends before --to. While the recording runs, the file has
the fragments so far. FILE has the permissions of the segments; it cannot be
among the files of a recording.

Exit status:
  0  all well
  1  there is no recording in DIR, it is protected or cannot be read, or FILE
     exists or cannot be written
  2  bad usage, also a --from after the recording's end)";

struct Options {
  std::string directory;
  std::string out;
  std::chrono::milliseconds from{0};
  std::optional<std::chrono::milliseconds> to;
};

TimeRange rangeOf(const Options& options) {
  TimeRange range;
  range.fromMs = static_cast<std::uint64_t>(options.from.count());
  if (options.to) range.toMs = static_cast<std::uint64_t>(options.to->count());
  if (range.toMs > range.fromMs) return range;
  throw UsageError(fmt::format("--to, {}, is not after --from, {}", timeText(range.toMs), timeText(range.fromMs)));
}

/// The metadata message that the recording keeps; empty if it has none.
std::vector<std::byte> descriptionOf(const RecordingDirectory& directory) {
  return directory.hasMeta ? readSmallFile(directory.pathOf(directory.metaName())) : std::vector<std::byte>();
}

bool isMp4(const std::string& path) {
  const std::string extension = fs::path(path).extension().string();
  if (path == "-" || extension == ".mtg") return false;
  if (extension == ".mp4") return true;
  throw UsageError(fmt::format("'{}' ends neither in .mtg nor in .mp4", path));
}

std::unique_ptr<TagSink> makeSink(const std::string& path, bool mp4, const RecordedTags& tags,
                                  const RecordingDirectory& directory) {
  if (mp4) return std::make_unique<Mp4File>(path, tags.movie());
  return std::make_unique<MtgFile>(path, tags.movie(), descriptionOf(directory));
}

/// The permissions that all segments have: an export must not show anyone what they could not read before.
mode_t segmentMode(const RecordingDirectory& directory) {
  constexpr mode_t kAll = 0666;
  mode_t mode = kAll;
  for (const std::uint32_t number : directory.segments) {
    const fs::perms own = fs::status(directory.pathOf(directory.segmentName(number))).permissions();
    mode &= static_cast<mode_t>(own);
  }
  return mode;
}

/// Makes the file under a temporary name; null for standard output. Throws CommandError if there is anything at its
/// place, even a link to nothing: an export is never made twice by accident, unlike a playlist.
std::unique_ptr<FreshFile> makeFile(const std::string& path) {
  // Until it is complete; setMode() comes before it gets its name.
  constexpr mode_t kOwnerOnly = 0600;
  if (path == "-") return nullptr;
  if (fs::exists(fs::symlink_status(path))) throw CommandError(fmt::format("'{}' exists already", path));
  requireOutsideRecordings(path);
  return std::make_unique<FreshFile>(path, kOwnerOnly);
}

/// For a part that reaches beyond the recording: when that ends. Read only then, since all fragments are looked at.
std::uint64_t lengthOf(const RecordingDirectory& directory) {
  const auto fragments = readRecordedTimeline(directory).fragments;
  return fragments.empty() ? 0 : fragments.back().startMs + fragments.back().durationMs;
}

/// Throws UsageError if nothing was found in the range. `reachedEnd`: the recording ended before the range did.
void checkRange(const TimeRange& range, bool isEmpty, bool reachedEnd, const RecordingDirectory& directory, Log& log) {
  const std::uint64_t length = reachedEnd ? lengthOf(directory) : 0;
  if (isEmpty && reachedEnd) {
    throw UsageError(
        fmt::format("--from, {}, is after the recording's end, {}", timeText(range.fromMs), timeText(length)));
  }
  if (isEmpty) throw CommandError("nothing is recorded in that part");
  if (reachedEnd && range.toMs != TimeRange().toMs && range.toMs > length) {
    log.warning(fmt::format("--to, {}, is after the recording's end, {}", timeText(range.toMs), timeText(length)));
  }
}

ExitStatus runExport(const Options& options) {
  const TimeRange range = rangeOf(options);
  const bool mp4 = isMp4(options.out);
  Log log(stderr);
  // For the muxer's errors.
  const AvLogRoute route(log);
  warnOfInterruptedOverwrite(options.directory, log);
  const RecordingDirectory directory = readRecordingDirectory(options.directory);
  RecordedTags tags(directory);
  const auto file = makeFile(options.out);
  std::uint64_t count = 0;
  {
    const auto sink = makeSink(file ? file->path() : options.out, mp4, tags, directory);
    const bool reachedEnd = tags.forEach(range, [&](const RecordedTag& tag) {
      sink->add(tag);
      ++count;
    });
    checkRange(range, count == 0, reachedEnd, directory, log);
    sink->finish();
  }
  if (!file) return ExitStatus::kOk;
  // Only after the sink is gone, which closes the file.
  file->setMode(segmentMode(directory));
  file->keepAsNew();
  return ExitStatus::kOk;
}

}  // namespace

Command exportCommand() {
  const auto options = std::make_shared<Options>();
  return {.name = "export",
          .text = "Make one file of a recording, or of a part of it.",
          .options = {recordingArgument(options->directory),
                      {.name = "--out",
                       .value = "FILE",
                       .take = storeIn(options->out),
                       .text = "File to make, .mtg or .mp4; - is standard output.",
                       .required = true},
                      {.name = "--from",
                       .value = "T",
                       .take = storeParsed(options->from, parseTime),
                       .text = "Where the part begins. Default: the beginning of the recording."},
                      {.name = "--to",
                       .value = "T",
                       .take = storeParsed(options->to, parseTime),
                       .text = "Where the part ends. Default: the end of the recording."}},
          .footer = kFooter,
          .run = [options] { return runExport(*options); }};
}

}  // namespace host
