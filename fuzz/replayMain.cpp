// Runs every file of the directories given through a fuzz target. A directory that does not exist is passed over, but
// there has to be a file.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/fuzzing.h"

namespace {

std::vector<std::filesystem::path> filesOf(int count, char** directories) {
  std::vector<std::filesystem::path> files;
  for (int i = 0; i < count; ++i) {
    if (!std::filesystem::exists(directories[i])) continue;
    for (const auto& entry : std::filesystem::directory_iterator(directories[i])) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::string contentOf(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  in.exceptions(std::ios::failbit | std::ios::badbit);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

int main(int argc, char** argv) {
  const auto files = filesOf(argc - 1, argv + 1);
  for (const auto& file : files) {
    // The name goes first: of a crash it is the last line.
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);
    const std::string content = contentOf(file);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
  }
  std::printf("%zu files replayed\n", files.size());
  return files.empty() ? 1 : 0;
}
