#include <filesystem>
#include <memory>

#include "host/commands.h"
#include "host/files/smallFiles.h"
#include "host/output.h"
#include "host/playlist/plainFolder.h"
#include "host/playlist/playlist.h"
#include "util/bytes.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFooter =
    R"(The playlist lies over the segment files as they are: each fragment is a byte range, so that any web
server that answers range requests plays the recording. A gap in time becomes a discontinuity.

While the recording runs, the playlist has the fragments so far and no end; run the command again for
those that have come since. FILE is replaced as a whole each time.

--plain is for players that stumble over the hint track of the segment files: ffmpeg and what is built on
it. It copies the recording into FOLDER, as standard fragmented MP4 that any static server serves. Its time
line has no gaps; EXT-X-PROGRAM-DATE-TIME tells the time of day, counted from when the first segment was
begun. Run again, it adds what has come since.

Exit status: 0 all well, 1 there is no recording in DIR, it is protected, or it cannot be read,
2 bad usage.)";

struct Options {
  std::string directory;
  std::string out;
  std::string plainFolder;
};

/// What leads from the playlist's place to the segment files.
std::string prefixFrom(const std::string& playlist, const std::string& directory) {
  const fs::path place = fs::absolute(playlist).parent_path();
  const fs::path relative = fs::absolute(directory).lexically_normal().lexically_relative(place.lexically_normal());
  return relative.empty() || relative == "." ? "" : relative.string() + "/";
}

ExitStatus runPlaylist(const Options& options) {
  const RecordingDirectory directory = readRecordingDirectory(options.directory);
  if (!options.plainFolder.empty()) {
    writePlainFolder(PlainView(directory), options.plainFolder);
  } else if (options.out.empty()) {
    printText(playlistText(readRecordedTimeline(directory), directory, ""));
  } else {
    const std::string prefix = prefixFrom(options.out, options.directory);
    const std::string text = playlistText(readRecordedTimeline(directory), directory, prefix);
    replaceSmallFile(options.out, qvs::util::asBytes(text));
  }
  return ExitStatus::kOk;
}

}  // namespace

void addPlaylistCommand(Command program, ExitStatus& status) {
  const auto options = std::make_shared<Options>();
  Command command = program.subcommand("playlist", "Make an HLS playlist over the files of a recording");
  command.option("DIR", options->directory, "Directory of the recording").required();
  const CommandOption out =
      command.option("--out", options->out, "File to write; standard output by default, with names relative to DIR")
          .typeName("FILE");
  command
      .option("--plain", options->plainFolder,
              "Write a plain view into this folder: headers and fragments without the hint\ntrack, and index.m3u8")
      .typeName("FOLDER")
      .excludes(out);
  command.footer(kFooter);
  command.action([options, &status] { status = runPlaylist(*options); });
}

}  // namespace host
