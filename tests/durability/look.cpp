// Looks at recordings for scripts/fault_test.py, as `k2r verify` and `k2r export` do, without the start of a program
// for each: a path a line on standard input, a JSON document a line on standard output.

#include <exception>
#include <functional>
#include <iostream>
#include <string>
#include <string_view>

#include "host/exporting/RecordedTags.h"
#include "host/verify/verifyReport.h"

namespace {

using host::Json;

/// Type, time and a number that stands for the data of each message that is recorded.
Json tagsOf(const std::string& path) {
  Json tags = Json::array();
  host::RecordedTags(host::readRecordingDirectory(path)).forEach({}, [&tags](const host::RecordedTag& tag) {
    const std::string_view data(reinterpret_cast<const char*>(tag.data.data()), tag.data.size());
    if (tag.content.isSequenceHeader()) return;
    tags.push_back({tag.content.place.rawType, tag.timestampMs(), std::hash<std::string_view>()(data)});
  });
  return tags;
}

Json lookAt(const std::string& path) {
  Json document = {{"status", 1}, {"fragments", 0}, {"report", ""}, {"error", ""}, {"tags", Json::array()}};
  try {
    const auto verification = host::verifyRecording(path);
    document["status"] = static_cast<int>(verification.status());
    document["fragments"] = verification.fragments;
    document["report"] = host::textReport(verification);
    if (verification.fragments != 0) document["tags"] = tagsOf(path);
  } catch (const std::exception& error) {
    document["error"] = error.what();
  }
  return document;
}

}  // namespace

int main() {
  for (std::string path; std::getline(std::cin, path);) std::cout << lookAt(path).dump() << std::endl;
}
