#include "tests/endtoend/frameHashes.h"

#include <cmath>
#include <sstream>
#include <stdexcept>

#include "tests/endtoend/shell.h"

namespace test {
namespace {

/// "#tb 0: 1/12800": seconds of a time unit.
double timeUnit(const std::string& line) {
  const std::size_t colon = line.find(": ");
  const std::size_t slash = line.find('/', colon);
  return std::stod(line.substr(colon + 2)) / std::stod(line.substr(slash + 1));
}

/// "0, dts, pts, duration, size, hash", and perhaps side data.
FrameHash parseFrame(const std::string& line, double unit) {
  std::vector<std::string> fields;
  std::istringstream in(line);
  for (std::string field; std::getline(in, field, ',');) fields.push_back(field);
  if (fields.size() < 6) throw std::runtime_error("framemd5 says: " + line);
  return {std::llround(std::stod(fields[2]) * unit * 1000), fields[5].substr(fields[5].find_first_not_of(' '))};
}

}  // namespace

std::vector<FrameHash> frameHashes(const std::string& file, const std::string& stream, const std::string& codec,
                                   const std::string& inputOptions) {
  const std::string how = codec.empty() ? "-fps_mode passthrough -enc_time_base -1" : "-c " + codec;
  const CommandResult result = run("ffmpeg -v error -copyts " + inputOptions + " -i '" + file + "' -map 0:" + stream +
                                   ":0 " + how + " -f framemd5 -");
  if (result.status != 0) throw std::runtime_error(result.output);
  std::vector<FrameHash> frames;
  double unit = 0;
  std::istringstream in(result.output);
  for (std::string line; std::getline(in, line);) {
    if (line.rfind("#tb", 0) == 0) unit = timeUnit(line);
    if (line.empty() || line[0] == '#') continue;
    frames.push_back(parseFrame(line, unit));
  }
  return frames;
}

}  // namespace test
