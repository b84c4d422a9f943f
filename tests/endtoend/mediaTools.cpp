#include "tests/endtoend/mediaTools.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace test {
namespace {

/// "#tb 0: 1/12800": a time unit, as a fraction of a second.
std::pair<double, double> parseUnit(const std::string& line) {
  return {std::stod(line.substr(line.find(": ") + 2)), std::stod(line.substr(line.find('/') + 1))};
}

/// "0, dts, pts, duration, size, hash", and perhaps side data.
FrameHash parseFrame(const std::string& line, std::pair<double, double> unit) {
  std::vector<std::string> fields;
  std::istringstream in(line);
  for (std::string field; std::getline(in, field, ',');) fields.push_back(field);
  if (fields.size() < 6) throw std::runtime_error("framemd5 says: " + line);
  // Multiplied first, so that halves are exact.
  return {std::llround(std::stod(fields[2]) * 1000 * unit.first / unit.second), fields[5]};
}

}  // namespace

CommandResult run(const std::string& line) {
  FILE* const pipe = ::popen(("( " + line + " ) 2>&1 </dev/null").c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("cannot run: " + line);
  CommandResult result;
  std::array<char, 4096> buffer{};
  while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
    result.output.append(buffer.data(), count);
  }
  const int status = ::pclose(pipe);
  if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
  return result;
}

std::string mustRun(const std::string& line) {
  CommandResult result = run(line);
  if (result.status != 0) throw std::runtime_error("failed: " + line + "\n" + result.output);
  return std::move(result.output);
}

void makeClip(const std::string& arguments, const std::string& file) {
  mustRun("ffmpeg -v error -y " + arguments + " 'file:" + file + "'");
}

std::vector<FrameHash> frameHashes(const std::string& file, const std::string& stream, const std::string& codec) {
  const std::string how = codec.empty() ? "-fps_mode passthrough -enc_time_base -1" : "-c " + codec;
  std::istringstream in(
      mustRun("ffmpeg -v error -copyts -i 'file:" + file + "' -map 0:" + stream + ":0 " + how + " -f framemd5 -"));
  std::vector<FrameHash> frames;
  std::pair<double, double> unit;
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with("#tb")) unit = parseUnit(line);
    if (!line.empty() && line[0] != '#') frames.push_back(parseFrame(line, unit));
  }
  return frames;
}

std::int64_t expectPrefix(const std::vector<FrameHash>& found, const std::vector<FrameHash>& source,
                          std::size_t atLeast, std::int64_t toleranceMs) {
  EXPECT_GE(found.size(), atLeast);
  EXPECT_LE(found.size(), source.size());
  if (found.empty() || found.size() > source.size()) return 0;
  const std::int64_t shift = found[0].timeMs - source[0].timeMs;
  for (std::size_t i = 0; i < found.size() && !testing::Test::HasFailure(); ++i) {
    EXPECT_EQ(found[i].hash, source[i].hash) << "frame " << i;
    EXPECT_LE(std::abs(found[i].timeMs - source[i].timeMs - shift), toleranceMs) << "frame " << i;
  }
  return shift;
}

}  // namespace test
