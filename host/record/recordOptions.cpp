#include <unistd.h>

#include <memory>
#include <string>

#include "host/commands.h"
#include "host/optionValues.h"
#include "host/record/RecordCommand.h"
#include "host/settingsTable.h"

namespace host {
namespace {

constexpr const char* kFooter = R"(
Ctrl-C and SIGTERM end the input; the recording is finished as at its end. One
record or repair at a time works on a DIR. What an interrupted --overwrite left
is reported; k2r repair puts it back, or finishes the new recording if that has
a fragment.

A live input that breaks off once media has come has ended; one from which
nothing comes for too long could not be read. A recording has one codec and one
configuration for each track. If these change, except for H.264 parameter sets,
the recording ends, and what follows is recorded into DIR-2, DIR-3 and so on.

Examples:
  k2r record live.mtg --out rec/cam1
  k2r record movie.mp4 --out rec/movie --set Recording/FragmentDuration=2000
  k2r record rtsp://camera/stream --out rec/cam2 --append --config camera.conf
  k2r record rtmp://server/live/cam --out rec/cam2 --reconnect
  encoder | k2r record - --out rec/cam3

The last line reports what was received, what the files contain of it, and what
is lost, with the first reason.

Exit status:
  0  all well, and everything that was received is in the recording
  1  the recording could not be opened, is in use, or INPUT could not be read
  2  bad usage
  3  finished, but some messages were refused, or errors came up
  6  finished, but some of what was received is not in the recording, or its
     files could not be finished)";

/// What the command line has in another form than the recording's options. They are combined when all of them are
/// known.
struct Flags {
  bool append = false;
  bool overwrite = false;
  bool progress = false;
  bool quiet = false;
  std::string durability = "device";
  std::string tail = "keep";
};

ProgressStyle progressStyle(const Flags& flags) {
  // In a file or a pipe a line that is rewritten would be one endless line.
  const bool terminal = ::isatty(STDERR_FILENO) != 0;
  if (flags.quiet || !(flags.progress || terminal)) return ProgressStyle::kNone;
  return terminal ? ProgressStyle::kTerminal : ProgressStyle::kLines;
}

/// The parser has refused both at once.
OpenMode openMode(const Flags& flags) {
  if (flags.overwrite) return OpenMode::kOverwrite;
  return flags.append ? OpenMode::kAppend : OpenMode::kNew;
}

using Options = std::vector<Option>;

// A group of options each; together they are longer than a function should be. The help shows them in this order.

Options inputOptions(RecordOptions& options) {
  InputOptions& input = options.inputOptions;
  return {{.name = "INPUT",
           .take = storeIn(options.input),
           .text = "What to record: a tag stream (recognized by its content), - for one on standard input, or whatever "
                   "else libavformat opens: a file, a device, a URL (pipe:0 is standard input in any format).",
           .required = true},
          {.name = "--map",
           .value = "SPEC",
           .take = addTo(input.maps),
           .text = "Stream to record, at most one video and one audio: v, a, a:1 (the second audio stream), 2 (the "
                   "stream of that index), 0:v:0. May be given again. Default: the best video and the audio that goes "
                   "with it.",
           .repeatable = true},
          {.name = "--input-option",
           .value = "KEY=VALUE",
           .take = addTo(input.avOptions),
           .text = "An option for libavformat, such as rtsp_transport=tcp or listen=1. May be given again.",
           .repeatable = true},
          {.name = "--realtime",
           .take = turnOn(options.realTime),
           .text = "Take the messages no faster than their times say."}};
}

Options timeOptions(RecordOptions& options) {
  InputOptions& input = options.inputOptions;
  return {{.name = "--stall-timeout",
           .value = "S",
           .take = storeParsed(input.stallTimeout, parseSeconds),
           .text = "Give up an input from which nothing comes for S seconds; 0 waits for ever. Default: 30 for what "
                   "comes over a network, else 0."},
          {.name = "--reconnect",
           .take = turnOn(input.reconnect),
           .text = "Open a live input again when it ends or breaks off, until stopped. The recording has a gap as long "
                   "as the input was away."},
          {.name = "--max-gap",
           .value = "S",
           .take = storeParsed(input.maxGap, parseSeconds),
           .text = "Times that jump forward by more than S seconds, like those that jump back, are a new clock: the "
                   "recording continues without a gap. Default: 3600."},
          {.name = "--keep-times",
           .take = turnOn(input.keepTimes),
           .text = "Leave the times of a tag stream as they are. With --append it then has to begin after the "
                   "recording's end."}};
}

Options outputOptions(RecordOptions& options, Flags& flags) {
  return {{.name = "--out",
           .value = "DIR",
           .take = storeIn(options.directory),
           .text = "Directory of the recording; its name is that of the files in it. Made if missing, with those above "
                   "it. Has to be empty without --append and --overwrite.",
           .required = true},
          {.name = "--append",
           .take = turnOn(flags.append),
           .text = "Continue the recording in DIR, if there is one. A damaged one is refused."},
          {.name = "--force",
           .take = turnOn(options.force),
           .text = "Continue a damaged recording, too.",
           .needs = {"--append"}},
          {.name = "--overwrite",
           .take = turnOn(flags.overwrite),
           .text = "Replace the recording in DIR. The old one is kept as DIR.replaced until the new one has its first "
                   "fragment, and is brought back if that never happens. A DIR with anything else in it is refused.",
           .excludes = {"--append"}},
          {.name = "--no-stop",
           .take = turnOn(options.noStop),
           .text = "Leave the recording as a crash would, without finishing it."},
          {.name = "--durability",
           .value = "device|process",
           .take = storeOneOf({"device", "process"}, flags.durability),
           .text = "What written segment data survive: device, a loss of power; process, only the end of this program, "
                   "which is faster. Default: device."}};
}

Options keepingOptions(RecordOptions& options, Flags& flags) {
  return {{.name = "--tail",
           .value = "keep|drop",
           .take = storeOneOf({"keep", "drop"}, flags.tail),
           .text = "What is recorded of the stream's two ends: keep, all; drop, whole fragments only: nothing before "
                   "the first line of their grid, and nothing after the last fragment that the stream itself "
                   "completes. Default: keep."},
          {.name = "--max-queue",
           .value = "SIZE",
           .take = storeParsed(options.maxQueue, parseSize),
           .text = "How many bytes of the stream may wait for a fragment to be written, with K, M or G after the "
                   "number; beyond it messages are dropped until one has been written. Default: 256M."}};
}

Options settingsOptions(RecordOptions& options) {
  return {
      {.name = "--set",
       .value = "KEY=VALUE",
       .take = addTo(options.settings),
       .text = "A setting by its whole key, such as Recording/FragmentDuration=2000; see below. May be given again; "
               "the last value of a key counts.",
       .repeatable = true},
      {.name = "--config",
       .value = "FILE",
       .take = storeIn(options.settingsFile),
       .text = "File of settings, one KEY = VALUE a line, comments after #. Those of --set override it."}};
}

Options reportOptions(RecordOptions& options, Flags& flags) {
  return {{.name = "--progress",
           .take = turnOn(flags.progress),
           .text = "Show time received, speed and size, also if standard error is no terminal (then a line each "
                   "second)."},
          {.name = "--quiet",
           .take = turnOn(flags.quiet),
           .text = "Show errors and warnings only.",
           .excludes = {"--progress"}},
          {.name = "--json", .take = turnOn(options.json), .text = "Print the outcome as one JSON document."}};
}

/// Translates the words of the command line.
ExitStatus run(RecordOptions& options, const Flags& flags) {
  options.mode = openMode(flags);
  options.durability = flags.durability == "process" ? Durability::kProcess : Durability::kDevice;
  options.progress = progressStyle(flags);
  options.quiet = flags.quiet;
  options.keepsEnds = flags.tail == "keep";
  return runRecord(options);
}

}  // namespace

Command recordCommand() {
  const auto options = std::make_shared<RecordOptions>();
  const auto flags = std::make_shared<Flags>();
  Command command{.name = "record",
                  .text = "Record a stream into a directory.",
                  // From the table, so that the help cannot differ from what is accepted.
                  .footer = "Settings, for --set and --config:\n" + settingsHelp() + kFooter,
                  .run = [options, flags] { return run(*options, *flags); }};
  for (const Options& group :
       {inputOptions(*options), timeOptions(*options), outputOptions(*options, *flags),
        keepingOptions(*options, *flags), settingsOptions(*options), reportOptions(*options, *flags)}) {
    command.options.insert(command.options.end(), group.begin(), group.end());
  }
  return command;
}

}  // namespace host
