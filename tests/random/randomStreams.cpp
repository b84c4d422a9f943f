// Records random streams with the module and verifies what becomes of them, after each session: nothing that a recorder
// does may be called damaged, and what was stopped has to be whole.
//
//   random_streams FIRST_SEED COUNT     up to the first one that fails
//   random_streams SEED                 one stream, and all that is known of it

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "host/verify/quickLook.h"
#include "host/verify/verifyReport.h"
#include "tests/random/RandomRecording.h"
#include "tests/support/Recorder.h"
#include "tests/support/loadModule.h"

namespace {

using namespace test;
using host::ExitStatus;
using host::Verification;

/// One recording while it is made.
class Trial {
 public:
  explicit Trial(const RandomRecording& plan) : recorder_(loadModule()), plan_(plan) {
    recorder_.host.settings = plan.settings;
  }

  /// What is wrong; empty where nothing is.
  std::string run() {
    for (std::size_t i = 0; i < plan_.sessions.size(); ++i) {
      const std::string fault = runSession(plan_.sessions[i], i == 0 ? kOpenRecord : kOpenRecord | kOpenAppend);
      if (!fault.empty()) return fmt::format("session {}: {}", i + 1, fault);
    }
    return "";
  }

  std::string log() const { return recorder_.log(); }

 private:
  std::string runSession(const RandomSession& session, std::uint32_t flags) {
    const auto said = [this, from = recorder_.host.lines.size()](const auto& condition) {
      return std::ranges::count_if(std::span(recorder_.host.lines).subspan(from), condition);
    };
    const bool goesOn = recorder_.has(".bootstrap");
    if (!recorder_.open(flags)) return "not opened";
    const std::size_t refused = recorder_.record(session.messages);
    const auto errors = said([](const std::string& text) { return text.starts_with("error: "); });
    if (std::cmp_not_equal(errors, refused)) return fmt::format("{} messages refused in {} lines", refused, errors);
    if (session.stop) recorder_.stop();
    recorder_.close();
    // What a clock that restarts after the end makes of an index: nothing more is recorded, and the stop fails.
    const bool failed =
        said([](const std::string& text) {
          return text.find("afra index is corrupt") != std::string::npos || text == "error: Unable to write bootstrap.";
        }) != 0;
    return judge(session.stop && !failed, goesOn);
  }

  std::string judge(bool stopped, bool goesOn) {
    if (std::filesystem::is_empty(recorder_.directory())) return "";
    const Verification found = host::verifyRecording(recorder_.directory().string());
    const std::uint64_t before = goesOn ? fragments_ : 0;
    fragments_ = found.fragments;
    if (found.status() == ExitStatus::kDamaged) return "damaged\n" + textReport(found);
    const auto directory = host::readRecordingDirectory(recorder_.directory().string());
    // It would keep an append from a recording that is not damaged.
    if (const auto seen = directory.hasBootstrap ? host::quickLook(directory) : std::nullopt) {
      return fmt::format("damaged at a quick look: {}: {}", seen->file, seen->text);
    }
    if (found.fragments < before)
      return fmt::format("{} fragments, of {}\n{}", found.fragments, before, textReport(found));
    if (stopped && !isWhole(found)) return "stopped, and not whole\n" + textReport(found);
    return "";
  }

  /// A recording that begins anew in the place of one without any fragment is without a file of its base time.
  static bool isWhole(const Verification& found) {
    const auto& findings = found.findings.kept();
    return std::all_of(findings.begin(), findings.end(), [](const host::Finding& finding) {
      return finding.severity == host::Severity::kNote || finding.file == "cam1.control";
    });
  }

  Recorder recorder_;
  const RandomRecording& plan_;
  std::uint64_t fragments_ = 0;
};

/// Whether all is well.
bool runOne(std::uint32_t seed, bool showAll) {
  const RandomRecording plan(seed);
  Trial trial(plan);
  std::string fault;
  try {
    fault = trial.run();
  } catch (const std::exception& error) {
    fault = error.what();
  }
  if (showAll) fmt::print("{}{}", plan.text(), trial.log());
  if (!fault.empty()) fmt::print("seed {}: {}\n", seed, fault);
  return fault.empty();
}

}  // namespace

int main(int argc, char** argv) {
  const auto argument = [&](int i) {
    return i < argc ? static_cast<std::uint32_t>(std::strtoul(argv[i], nullptr, 10)) : 0;
  };
  if (argc == 2) return runOne(argument(1), true) ? 0 : 1;
  const std::uint32_t end = argument(1) + argument(2);
  for (std::uint32_t seed = argument(1); seed != end; ++seed) {
    if (!runOne(seed, false)) return 1;
  }
  fmt::print("{} streams without a fault\n", argument(2));
  return 0;
}
