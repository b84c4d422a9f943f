#include <unistd.h>

#include <fmt/format.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "host/commands.h"
#include "host/record/RecordCommand.h"

namespace host {
namespace {

constexpr const char* kFooter = R"(Examples:
  k2r record live.mtg --out rec/cam1
  k2r record movie.mp4 --out rec/movie --set Recording/FragmentDuration=2000
  k2r record rtsp://camera/stream --out rec/cam2 --append --config camera.conf
  k2r record rtmp://server/live/cam --out rec/cam2 --reconnect
  encoder | k2r record - --out rec/cam3

Ctrl-C and SIGTERM end the input; the recording is finished as at its end.
Exit status: 0 all well, 1 the recording could not be opened or INPUT not be read, 2 bad usage,
3 the recording was finished but some messages were refused or other errors came up. A live input that
breaks off once media has come has ended; one that gives nothing for too long could not be read.

A recording has one codec and configuration a track. Where these change, but for H.264 parameter sets,
it ends, and what follows is recorded into DIR-2, DIR-3 and so on.)";

/// What the command line has in another form than the recording's options.
struct Flags {
  bool append = false;
  bool overwrite = false;
  bool progress = false;
  bool quiet = false;
  std::string durability = "device";
  double stallTimeout = -1;
  double maxGap = 3600;
};

/// Throws UsageError for what is no length of time.
std::chrono::milliseconds seconds(const char* option, double value) {
  constexpr double kMost = 1e9;
  if (!(value >= 0 && value <= kMost)) throw UsageError(fmt::format("{}: a number of seconds expected", option));
  return std::chrono::milliseconds(static_cast<std::int64_t>(value * 1000));
}

ProgressStyle progressStyle(const Flags& flags) {
  const bool terminal = ::isatty(STDERR_FILENO) != 0;
  if (flags.quiet || !(flags.progress || terminal)) return ProgressStyle::kNone;
  return terminal ? ProgressStyle::kTerminal : ProgressStyle::kLines;
}

OpenMode openMode(const Flags& flags) {
  if (flags.overwrite) return OpenMode::kOverwrite;
  return flags.append ? OpenMode::kAppend : OpenMode::kNew;
}

// A description has its own line ends: the parser breaks no lines.

void addInputOptions(Command command, RecordOptions& options) {
  command
      .option("INPUT", options.input,
              "What to record: a tag stream (told by its content), - for one on\n"
              "standard input, or whatever else libavformat opens: a file, a device,\n"
              "a URL (pipe:0 is standard input in any format)")
      .required();
  command
      .option("--map", options.inputOptions.maps,
              "Stream to record, at most one video and one audio: v, a, a:1 (the second\n"
              "audio stream), 2 (the stream of that index), 0:v:0. May be given again.\n"
              "Default: the best video and the audio that goes with it")
      .typeName("SPEC")
      .oneValueEach();
  command
      .option("--input-option", options.inputOptions.avOptions,
              "An option for libavformat, such as rtsp_transport=tcp or listen=1. May be\n"
              "given again")
      .typeName("KEY=VALUE")
      .oneValueEach();
  command.flag("--realtime", options.realTime, "Take the messages no faster than their timestamps say");
}

void addTimeOptions(Command command, RecordOptions& options, Flags& flags) {
  command
      .option("--stall-timeout", flags.stallTimeout,
              "Give up an input from which nothing comes for so many seconds; 0 waits\n"
              "for ever. Default: 30 for what comes over a network, else 0")
      .typeName("S");
  command.flag("--reconnect", options.inputOptions.reconnect,
               "Open a live input again when it ends or breaks off, until stopped; the\n"
               "recording has a gap as long as it was away");
  command
      .option("--max-gap", flags.maxGap,
              "Times that jump forward by more than so many seconds, like those that jump\n"
              "back, are a new clock: the recording goes on from where it is. Default: 3600")
      .typeName("S");
  command.flag("--keep-times", options.inputOptions.keepTimes,
               "Leave the times of a tag stream as they are; with --append it then has to\n"
               "begin behind the recording's end");
}

void addOutputOptions(Command command, RecordOptions& options, Flags& flags) {
  command
      .option("--out", options.directory,
              "Directory of the recording; its name is that of the files in it. Made if\n"
              "missing, with those above it. Has to be empty without --append and\n"
              "--overwrite")
      .typeName("DIR")
      .required();
  const CommandOption append = command.flag("--append", flags.append, "Continue the recording in DIR, if there is one");
  command
      .flag("--overwrite", flags.overwrite, "Replace the recording in DIR; a DIR that holds anything else is refused")
      .excludes(append);
  command.flag("--no-stop", options.noStop, "Leave the recording as a crash would, without finishing it");
  command
      .option("--durability", flags.durability,
              "What segment data outlive once written: device, a loss of power\n"
              "(default); process, the end of this program only, which is faster")
      .typeName("device|process")
      .oneOf({"device", "process"});
}

void addSettingsOptions(Command command, RecordOptions& options) {
  command
      .option("--set", options.settings,
              "A setting by its whole key, such as Recording/FragmentDuration=2000\n"
              "(milliseconds) or Recording/SegmentDuration=600000. May be given again;\n"
              "the last value of a key counts")
      .typeName("KEY=VALUE")
      .oneValueEach();
  command
      .option("--config", options.settingsFile,
              "File of settings, one KEY = VALUE a line, comments behind #; --set is\n"
              "stronger")
      .typeName("FILE");
}

void addProgressOptions(Command command, Flags& flags) {
  const CommandOption progress = command.flag("--progress", flags.progress,
                                              "Show time recorded, speed and size, also where standard error is no\n"
                                              "terminal (there, a line each second)");
  command.flag("--quiet", flags.quiet, "Show errors and warnings only").excludes(progress);
}

}  // namespace

void addRecordCommand(Command program, ExitStatus& status) {
  const auto options = std::make_shared<RecordOptions>();
  const auto flags = std::make_shared<Flags>();
  Command command = program.subcommand("record", "Record a stream into a directory");
  addInputOptions(command, *options);
  addTimeOptions(command, *options, *flags);
  addOutputOptions(command, *options, *flags);
  addSettingsOptions(command, *options);
  addProgressOptions(command, *flags);
  command.footer(kFooter);
  command.action([options, flags, &status] {
    options->mode = openMode(*flags);
    if (flags->stallTimeout != -1) options->inputOptions.stallTimeout = seconds("--stall-timeout", flags->stallTimeout);
    options->inputOptions.maxGap = seconds("--max-gap", flags->maxGap);
    options->durability = flags->durability == "process" ? Durability::kProcess : Durability::kDevice;
    options->progress = progressStyle(*flags);
    status = runRecord(*options);
  });
}

}  // namespace host
