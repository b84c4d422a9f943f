#include <fmt/format.h>

#include <cmath>
#include <filesystem>
#include <memory>

#include "host/Log.h"
#include "host/OutputDirectory.h"
#include "host/commands.h"
#include "host/errors.h"
#include "host/exporting/Mp4File.h"
#include "host/exporting/MtgFile.h"
#include "host/files/FreshFile.h"
#include "host/files/smallFiles.h"
#include "host/input/AvLogRoute.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFooter =
    R"(FILE ends in .mtg or .mp4, or is - for a tag stream on standard output.

  .mtg  a tag stream: the description, the configuration of each track, and every tag as it was recorded;
        k2r record makes the same recording of it again
  .mp4  a plain file that plays everywhere; it has AVC, AAC and MP3, and no script data

Times count from the first tag. The part begins with the key frame at or before --from, and ends before
--to. While the recording runs, the file has the fragments so far. FILE has the permissions of the segments;
it cannot be put among the files of a recording.

Exit status: 0 all well, 1 there is no recording in DIR, it is protected or cannot be read, or FILE exists
or cannot be written, 2 bad usage.)";

struct Options {
  std::string directory;
  std::string out;
  double from = 0;
  double to = -1;
};

TimeRange rangeOf(const Options& options) {
  constexpr double kMillisecondsASecond = 1000;
  constexpr double kLongest = 1e9;
  if (!(options.from <= kLongest && options.to <= kLongest))
    throw UsageError("--from or --to is no time of a recording");
  TimeRange range;
  range.from = static_cast<std::uint64_t>(std::llround(options.from * kMillisecondsASecond));
  if (options.to >= 0) range.to = static_cast<std::uint64_t>(std::llround(options.to * kMillisecondsASecond));
  if (range.to <= range.from) throw UsageError("--to is not behind --from");
  return range;
}

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

/// Who may read every segment may read what is made of them.
mode_t segmentMode(const RecordingDirectory& directory) {
  constexpr mode_t kAll = 0666;
  mode_t mode = kAll;
  for (const std::uint32_t number : directory.segments) {
    const fs::perms own = fs::status(directory.pathOf(directory.segmentName(number))).permissions();
    mode &= static_cast<mode_t>(own);
  }
  return mode;
}

/// Throws CommandError where something is at the place of the file, be it a link that leads nowhere.
std::unique_ptr<FreshFile> makeFile(const std::string& path) {
  constexpr mode_t kOwnerOnly = 0600;
  if (path == "-") return nullptr;
  if (fs::exists(fs::symlink_status(path))) throw CommandError(fmt::format("'{}' exists already", path));
  return std::make_unique<FreshFile>(path, kOwnerOnly);
}

ExitStatus runExport(const Options& options) {
  const TimeRange range = rangeOf(options);
  const bool mp4 = isMp4(options.out);
  Log log(stderr);
  const AvLogRoute route(log);
  tellInterruptedOverwrite(options.directory, log);
  const RecordingDirectory directory = readRecordingDirectory(options.directory);
  RecordedTags tags(directory);
  const auto file = makeFile(options.out);
  std::uint64_t count = 0;
  {
    const auto sink = makeSink(file ? file->path() : options.out, mp4, tags, directory);
    tags.forEach(range, [&](const RecordedTag& tag) {
      sink->add(tag);
      ++count;
    });
    if (count == 0) throw CommandError("nothing is recorded in that part");
    sink->finish();
  }
  if (!file) return ExitStatus::kOk;
  file->setMode(segmentMode(directory));
  file->keepAsNew();
  return ExitStatus::kOk;
}

}  // namespace

void addExportCommand(Command program, ExitStatus& status) {
  const auto options = std::make_shared<Options>();
  Command command = program.subcommand("export", "Make one file of a recording, or of a part of it");
  command.option("DIR", options->directory, "Directory of the recording").required();
  command.option("--out", options->out, "File to make, .mtg or .mp4; - is standard output").typeName("FILE").required();
  command.option("--from", options->from, "Begin here, in seconds").typeName("SECONDS").notNegative();
  command.option("--to", options->to, "End here, in seconds; the end of the recording by default")
      .typeName("SECONDS")
      .notNegative();
  command.footer(kFooter);
  command.action([options, &status] { status = runExport(*options); });
}

}  // namespace host
