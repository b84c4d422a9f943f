#include <fmt/format.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string_view>

#include "host/Log.h"
#include "host/OutputDirectory.h"
#include "host/commands.h"
#include "host/files/FreshFile.h"
#include "host/output.h"
#include "host/playlist/plainFolder.h"
#include "host/playlist/playlist.h"
#include "util/bytes.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFooter =
    R"(The playlist names byte ranges of the segment files, one for each fragment, so
that any web server that supports range requests plays the recording. A gap in
time becomes a discontinuity.

While the recording runs, the playlist has the fragments so far and no end; run
the command again for those that have come since. FILE is replaced as a whole
each time, if it is a playlist, and cannot be among the files of a recording.

--plain is for players that the hint track of the segment files disturbs: ffmpeg
and what is built on it. It copies the recording into FOLDER as standard
fragmented MP4 that any static server serves. Its times have no gaps;
EXT-X-PROGRAM-DATE-TIME gives the time of day, counted from when the first
segment was begun. Run again, it adds what has come since.

Exit status:
  0  all well
  1  there is no recording in DIR, it is protected, or it cannot be read
  2  bad usage)";

struct Options {
  std::string directory;
  std::string out;
  std::string plainFolder;
};

/// The relative path from the playlist's folder to the segment files; empty if they are in the same one.
std::string prefixFrom(const std::string& playlist, const std::string& directory) {
  const fs::path place = fs::absolute(playlist).parent_path();
  const fs::path relative = fs::absolute(directory).lexically_normal().lexically_relative(place.lexically_normal());
  return relative.empty() || relative == "." ? "" : relative.string() + "/";
}

/// Throws CommandError if the file exists and is neither a playlist nor empty. A playlist is made again and again and
/// replaces the one before, but a typing error in --out must not replace another file.
void requirePlaylist(const std::string& path) {
  constexpr std::string_view kBegin = "#EXTM3U";
  const auto status = fs::symlink_status(path);
  if (!fs::exists(status)) return;
  std::string begin(kBegin.size(), ' ');
  std::ifstream in;
  if (fs::is_regular_file(status)) in.open(path, std::ios::binary);
  in.read(begin.data(), static_cast<std::streamsize>(begin.size()));
  begin.resize(static_cast<std::size_t>(in.gcount()));
  const bool isEmpty = in.is_open() && begin.empty();
  if (begin != kBegin && !isEmpty) {
    throw CommandError(fmt::format("'{}' exists and is not a playlist; nothing was changed", path));
  }
}

void writePlaylist(const std::string& path, const std::string& text) {
  constexpr mode_t kForAll = 0666;
  requirePlaylist(path);
  requireOutsideRecordings(path);
  FreshFile file(path, kForAll);
  file.write(qvs::util::asBytes(text));
  file.keepInstead();
}

ExitStatus runPlaylist(const Options& options) {
  Log log(stderr);
  warnOfInterruptedOverwrite(options.directory, log);
  const RecordingDirectory directory = readRecordingDirectory(options.directory);
  if (!options.plainFolder.empty()) {
    // A folder among the files of a recording would be a foreign entry, and other commands would refuse that recording.
    requireOutsideRecordings(options.plainFolder);
    writePlainFolder(PlainView(directory), options.plainFolder);
  } else if (options.out.empty()) {
    printText(playlistText(readRecordedTimeline(directory), directory, ""));
  } else {
    const std::string prefix = prefixFrom(options.out, options.directory);
    const std::string text = playlistText(readRecordedTimeline(directory), directory, prefix);
    writePlaylist(options.out, text);
  }
  return ExitStatus::kOk;
}

}  // namespace

Command playlistCommand() {
  const auto options = std::make_shared<Options>();
  return {.name = "playlist",
          .text = "Make an HLS playlist over the files of a recording.",
          .options = {recordingArgument(options->directory),
                      {.name = "--out",
                       .value = "FILE",
                       .take = storeIn(options->out),
                       .text = "File to write. Default: standard output, with names relative to DIR."},
                      {.name = "--plain",
                       .value = "FOLDER",
                       .take = storeIn(options->plainFolder),
                       .text = "Write a plain view into this folder: headers and fragments without the hint track, "
                               "and index.m3u8.",
                       .excludes = {"--out"}}},
          .footer = kFooter,
          .run = [options] { return runPlaylist(*options); }};
}

}  // namespace host
