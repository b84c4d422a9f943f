#include "host/verify/verifyReport.h"

#include <fmt/format.h>

namespace host {
namespace {

const char* nameOf(Severity severity) {
  switch (severity) {
    case Severity::kNote:
      return "note";
    case Severity::kRepairable:
      return "repairable";
    case Severity::kDamage:
      return "damage";
  }
  return "";
}

const char* verdict(const Verification& verification) {
  switch (verification.findings.worst()) {
    case Severity::kNote:
      return "whole";
    case Severity::kRepairable:
      return "whole after an append or a repair";
    case Severity::kDamage:
      return "damaged";
  }
  return "";
}

std::string place(const Finding& finding) {
  return finding.offset ? fmt::format("{}: offset {}", finding.file, *finding.offset) : finding.file;
}

std::string plural(std::uint64_t count, std::string_view noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

std::string summary(const Verification& verification) {
  const Findings& findings = verification.findings;
  std::string text = verdict(verification);
  if (const auto damages = findings.count(Severity::kDamage))
    text += fmt::format(", {} damaged", plural(damages, "place"));
  if (const auto repairs = findings.count(Severity::kRepairable))
    text += fmt::format(", {} to repair", plural(repairs, "place"));
  text += fmt::format("; {}, {}, {}", plural(verification.segments, "segment"),
                      plural(verification.fragments, "fragment"), plural(verification.tags, "tag"));
  if (verification.firstTime && verification.lastTime) {
    text += fmt::format(", from {} to {}", timeText(*verification.firstTime), timeText(*verification.lastTime));
  }
  return text + (verification.stopped ? "" : ", not stopped");
}

Json orNull(const std::optional<std::uint32_t>& value) {
  return value ? Json(*value) : Json();
}

}  // namespace

std::string textReport(const Verification& verification) {
  std::string text;
  for (const Finding& finding : verification.findings.kept()) {
    text += fmt::format("{}: {}: {}\n", place(finding), nameOf(finding.severity), finding.text);
  }
  const Findings& findings = verification.findings;
  const std::uint64_t all =
      findings.count(Severity::kNote) + findings.count(Severity::kRepairable) + findings.count(Severity::kDamage);
  if (all > findings.kept().size()) text += fmt::format("... and {} more\n", all - findings.kept().size());
  return text + fmt::format("{}: {}\n", verification.recording, summary(verification));
}

Json jsonReport(const Verification& verification) {
  const Findings& findings = verification.findings;
  Json faults = Json::array();
  for (const Finding& finding : findings.kept()) {
    faults.push_back({{"file", finding.file},
                      {"offset", finding.offset ? Json(*finding.offset) : Json()},
                      {"severity", nameOf(finding.severity)},
                      {"text", finding.text}});
  }
  const char* const statuses[] = {"whole", "repairable", "damaged"};
  Json document;
  document["stem"] = verification.recording;
  document["status"] = statuses[static_cast<std::size_t>(findings.worst())];
  document["stopped"] = verification.stopped;
  document["summary"] = {{"text", summary(verification)},
                         {"segments", verification.segments},
                         {"fragments", verification.fragments},
                         {"tags", verification.tags},
                         {"firstTime", orNull(verification.firstTime)},
                         {"lastTime", orNull(verification.lastTime)},
                         {"damages", findings.count(Severity::kDamage)},
                         {"repairables", findings.count(Severity::kRepairable)},
                         {"notes", findings.count(Severity::kNote)}};
  document["faults"] = std::move(faults);
  return document;
}

}  // namespace host
