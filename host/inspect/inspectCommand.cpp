#include <memory>

#include "host/Log.h"
#include "host/OutputDirectory.h"
#include "host/commands.h"
#include "host/inspect/describeFile.h"
#include "host/inspect/textTree.h"

namespace host {
namespace {

constexpr const char* kFooter =
    R"(A PATH is the directory of a recording, which means all of its files, or a
.bootstrap, .k2i, .control, .meta, .drmmeta or .k2r file, or a .mtg tag stream;
a file is recognized by its content. All times are milliseconds, all offsets
bytes from the start of the file.

Exit status:
  0  all well
  1  something cannot be read; what can be read is printed
  2  bad usage)";

struct Options {
  std::vector<std::string> paths;
  bool json = false;
};

ExitStatus runInspect(const Options& options) {
  Log log(stderr);
  InspectErrors errors;
  Json files = Json::array();
  for (const std::string& path : options.paths) tellInterruptedOverwrite(path, log);
  for (const std::string& path : options.paths) files.push_back(describePath(path, errors));
  if (options.json) {
    printJson({{"files", std::move(files)}});
  } else {
    printText(textTree(files));
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
                      {.name = "--json", .take = turnOn(options->json), .text = "Print one JSON document."}},
          .footer = kFooter,
          .run = [options] { return runInspect(*options); }};
}

}  // namespace host
