#include "shared_nqserver/parseLog.h"

#include "platform/os/durableFiles.h"
#include "platform/os/paths.h"
#include "util/bytes.h"

void writeParseLog(const std::vector<std::string>& lines) {
  std::string text;
  for (const auto& line : lines) text.append(line).append("\n");
  // Replaced and not appended to: a publisher of malformed data must not fill the disk.
  platform::os::writeFile(platform::os::programDirectory() + "\\logs\\cmdParsingLog.log", qvs::util::asBytes(text));
}
