#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <string>

#include "host/Log.h"
#include "host/commands.h"
#include "host/output.h"
#include "host/serve/Server.h"
#include "host/serve/config/readServeConfig.h"

namespace host {
namespace {

constexpr const char* kFooter =
    R"(The configuration names the streams, where they are recorded, and how long
recordings are kept. Each stream is recorded on its own: a source that fails is
opened again without end, and a full disk is waited for.

SIGTERM and SIGINT finish all recordings and end the program. SIGHUP reads FILE
again: new streams begin, those that are gone finish, those whose recording is
configured in another way begin again, and the others do not notice. A FILE with
faults changes nothing.

A source without an end of its own is recorded until it is stopped. A file is
recorded once, as fast as it can be read.

Exit status:
  0  stopped as asked, and all recordings are finished
  1  the module cannot be loaded
  2  bad usage, or the configuration has faults
  6  stopped as asked, but a recording could not be finished in time)";

struct Options {
  std::string config = "/etc/k2r/k2r.toml";
  bool check = false;
};

ExitStatus run(const Options& options) {
  Log log(stderr);
  const serve::ServeConfig config = serve::readServeConfig(options.config, &log);
  if (!options.check) return serve::runServer(options.config, config, log);
  printText(fmt::format("{}: no faults; {} streams\n", options.config, config.streams.size()));
  return ExitStatus::kOk;
}

}  // namespace

Command serveCommand() {
  const auto options = std::make_shared<Options>();
  return {.name = "serve",
          .text = "Record many live streams from one configuration file.",
          .options = {{.name = "--config",
                       .value = "FILE",
                       .take = storeIn(options->config),
                       .text = "The configuration. Default: /etc/k2r/k2r.toml."},
                      {.name = "--check",
                       .take = turnOn(options->check),
                       .text = "Read the configuration, say what is wrong with it, and end."}},
          .footer = kFooter,
          .run = [options] { return run(*options); }};
}

}  // namespace host
