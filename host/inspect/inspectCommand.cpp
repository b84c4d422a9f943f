#include <memory>

#include "host/Log.h"
#include "host/OutputDirectory.h"
#include "host/commands.h"
#include "host/inspect/describeFile.h"
#include "host/inspect/overviewText.h"
#include "host/inspect/textTree.h"
#include "host/jsonDocument.h"
#include "platform/os/terminal.h"

namespace host {
namespace {

constexpr const char* kFooter =
    R"(A PATH is the directory of a recording, or a .bootstrap, .k2i, .control, .meta,
.drmmeta or .k2r file, or a .mtg tag stream. Its content decides, not its name.

Of a directory it prints what is recorded, from the first sample to the last
one, and a time line as wide as the terminal:

  =  recorded     |  a fragment begins (if there is room to tell them apart)
  .  gap          !  gap in a part of the column

A gap lies between two fragments; a pause inside one is not counted. The begin
is the time of day at which the first segment was made, less its first fragment.
--full adds the fields of all files; a single file is always printed with its
fields. Their times are milliseconds, their offsets bytes from the start of the
file. --json prints both.

Exit status:
  0  all well
  1  something cannot be read; what can be read is printed
  2  bad usage)";

struct Options {
  std::vector<std::string> paths;
  bool full = false;
  bool json = false;
};

std::vector<Description> describeAll(const std::vector<std::string>& paths, Detail detail, InspectErrors& errors) {
  std::vector<Description> descriptions;
  for (const std::string& path : paths) descriptions.push_back(describePath(path, detail, errors));
  return descriptions;
}

void printDescription(const Description& description, bool full) {
  constexpr std::size_t kUsualWidth = 80;
  std::string text;
  Json fields = description.document;
  if (description.overview) {
    text = overviewText(*description.overview, platform::os::terminalWidth().value_or(kUsualWidth)) + '\n';
    fields.erase("summary");
  }
  // Without its kind nothing but the error is known, which is logged separately.
  const bool hasFields = full || !description.overview;
  if (hasFields && fields.contains("kind")) text += textTree(Json::array({fields}));
  printText(text);
}

CommandOutcome outcomeOf(std::vector<Description> descriptions, const InspectErrors& errors) {
  Json files = Json::array();
  for (Description& description : descriptions) files.push_back(std::move(description.document));
  CommandOutcome outcome{.status = ExitStatus::kOk, .error = {}, .members = {{"files", std::move(files)}}};
  if (errors.empty()) return outcome;
  outcome.status = ExitStatus::kFailed;
  outcome.error = errors.front();
  return outcome;
}

ExitStatus runInspect(const Options& options) {
  Log log(stderr);
  InspectErrors errors;
  for (const std::string& path : options.paths) warnOfInterruptedOverwrite(path, log);
  if (options.json) {
    printOutcome("inspect", Json::object(),
                 [&] { return outcomeOf(describeAll(options.paths, Detail::kFields, errors), errors); });
  } else {
    const Detail detail = options.full ? Detail::kFields : Detail::kSummary;
    for (const Description& description : describeAll(options.paths, detail, errors))
      printDescription(description, options.full);
  }
  for (const std::string& error : errors) log.error(error);
  return errors.empty() ? ExitStatus::kOk : ExitStatus::kFailed;
}

}  // namespace

Command inspectCommand() {
  const auto options = std::make_shared<Options>();
  return {.name = "inspect",
          .text = "Print what is in the files of a recording, or in a tag stream.",
          .options = {{.name = "PATH",
                       .take = addTo(options->paths),
                       .text = "Files, or directories of recordings.",
                       .required = true,
                       .repeatable = true},
                      {.name = "--full",
                       .take = turnOn(options->full),
                       .text = "Print the fields of all files of a recording.",
                       .excludes = {"--json"}},
                      {.name = "--json", .take = turnOn(options->json), .text = "Print one JSON document."}},
          .footer = kFooter,
          .run = [options] { return runInspect(*options); }};
}

}  // namespace host
