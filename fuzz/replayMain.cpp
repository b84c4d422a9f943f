// Runs every file of the directories given through a fuzz target. A directory that does not exist is passed over, but
// there has to be a file.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "fuzz/fuzzing.h"

int main(int argc, char** argv) {
  std::set<std::filesystem::path> files;
  for (int i = 1; i < argc; ++i) {
    if (!std::filesystem::exists(argv[i])) continue;
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) files.insert(entry.path());
  }
  for (const auto& file : files) {
    // The name goes first: of a crash it is the last line.
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);
    std::ifstream in(file, std::ios::binary);
    in.exceptions(std::ios::failbit | std::ios::badbit);
    const std::string content(std::istreambuf_iterator<char>(in), {});
    fuzz::target(std::as_bytes(std::span(content)));
  }
  std::printf("%zu files replayed\n", files.size());
  return files.empty() ? 1 : 0;
}
