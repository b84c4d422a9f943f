#include <unistd.h>

#include <fmt/format.h>

#include <charconv>
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

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

Ctrl-C and SIGTERM end the input; the recording is finished as at its end. Nobody else records into DIR
meanwhile, or repairs it. What an interrupted --overwrite left is told; k2r repair puts it back.

The last line tells what was received, what the files hold of it, and what is lost, with the first reason.
Exit status: 0 all well, and all that was received is in the recording; 1 the recording could not be
opened, is in use, or INPUT could not be read; 2 bad usage; 3 finished, but some messages were refused or
errors came up; 6 finished, but some of what was received is not in the recording, or its files could not
be finished.

A live input that breaks off once media has come has ended; one that gives nothing for too long could not
be read. A recording has one codec and configuration a track. Where these change, but for H.264 parameter
sets, it ends, and what follows is recorded into DIR-2, DIR-3 and so on.)";

/// What the command line has in another form than the recording's options.
struct Flags {
  bool append = false;
  bool overwrite = false;
  bool progress = false;
  bool quiet = false;
  std::string durability = "device";
  std::string tail = "keep";
  std::string maxQueue = "256M";
  double stallTimeout = -1;
  double maxGap = 3600;
};

/// The bytes that a number with one of the letters K, M and G behind it, or none, stands for. Throws UsageError for
/// anything else, for 0, and beyond 64 bits; `option` is named then.
std::uint64_t parseSize(const std::string& text, const char* option) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const std::string_view unit(end, text.data() + text.size());
  constexpr std::string_view kUnits = "KMG";
  const auto place = unit.size() == 1 ? kUnits.find(unit.front()) : std::string_view::npos;
  const unsigned shift = place == std::string_view::npos ? 0 : 10 * (static_cast<unsigned>(place) + 1);
  const bool isSize = error == std::errc() && (unit.empty() || shift != 0);
  if (!isSize || number == 0 || number > std::numeric_limits<std::uint64_t>::max() >> shift) {
    throw UsageError(fmt::format("{}: '{}' is no size; a number, with K, M or G behind it, expected", option, text));
  }
  return number << shift;
}

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
  const CommandOption append = command.flag("--append", flags.append,
                                            "Continue the recording in DIR, if there is one. A damaged one is\n"
                                            "refused");
  command.flag("--force", options.force, "Continue a damaged recording all the same").needs(append);
  command
      .flag("--overwrite", flags.overwrite,
            "Replace the recording in DIR; it stands aside, in DIR.replaced, until the\n"
            "new one has its first fragment, and comes back where that never happens.\n"
            "A DIR that holds anything else is refused")
      .excludes(append);
  command.flag("--no-stop", options.noStop, "Leave the recording as a crash would, without finishing it");
  command
      .option("--durability", flags.durability,
              "What segment data outlive once written: device, a loss of power\n"
              "(default); process, the end of this program only, which is faster")
      .typeName("device|process")
      .oneOf({"device", "process"});
}

void addKeepingOptions(Command command, Flags& flags) {
  command
      .option("--tail", flags.tail,
              "What of the stream's two ends is recorded: keep, all (default); drop, whole\n"
              "fragments only: nothing from before the first line of their grid, and\n"
              "nothing behind the last fragment that the stream itself completes")
      .typeName("keep|drop")
      .oneOf({"keep", "drop"});
  command
      .option("--max-queue", flags.maxQueue,
              "How much of the stream may wait for a fragment to be written; beyond it\n"
              "messages are dropped until one has been. K, M and G stand behind the\n"
              "number; default 256M")
      .typeName("SIZE");
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

void addProgressOptions(Command command, RecordOptions& options, Flags& flags) {
  const CommandOption progress = command.flag("--progress", flags.progress,
                                              "Show time received, speed and size, also where standard error is no\n"
                                              "terminal (there, a line each second)");
  command.flag("--quiet", flags.quiet, "Show errors and warnings only").excludes(progress);
  command.flag("--json", options.json, "Print what has come of it as one JSON document");
}

}  // namespace

void addRecordCommand(Command program, ExitStatus& status) {
  const auto options = std::make_shared<RecordOptions>();
  const auto flags = std::make_shared<Flags>();
  Command command = program.subcommand("record", "Record a stream into a directory");
  addInputOptions(command, *options);
  addTimeOptions(command, *options, *flags);
  addOutputOptions(command, *options, *flags);
  addKeepingOptions(command, *flags);
  addSettingsOptions(command, *options);
  addProgressOptions(command, *options, *flags);
  command.footer(kFooter);
  command.action([options, flags, &status] {
    options->mode = openMode(*flags);
    if (flags->stallTimeout != -1) options->inputOptions.stallTimeout = seconds("--stall-timeout", flags->stallTimeout);
    options->inputOptions.maxGap = seconds("--max-gap", flags->maxGap);
    options->durability = flags->durability == "process" ? Durability::kProcess : Durability::kDevice;
    options->progress = progressStyle(*flags);
    options->quiet = flags->quiet;
    options->keepsEnds = flags->tail == "keep";
    options->maxQueue = parseSize(flags->maxQueue, "--max-queue");
    status = runRecord(*options);
  });
}

}  // namespace host
