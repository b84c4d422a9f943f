// Writes the manual's pages and the completions of the shells into a folder:
//
//     k2r_manual VERSION DATE FOLDER

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "host/commands.h"
#include "packages/manual/pages.h"

namespace {

namespace fs = std::filesystem;

bool write(const fs::path& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
  out.close();
  if (!out) std::fprintf(stderr, "%s cannot be written\n", path.c_str());
  return static_cast<bool>(out);
}

/// The page of a command and those of the commands below it.
bool writePages(const host::Command& command, const std::string& path, const char* version, const char* date,
                const fs::path& folder) {
  std::string name = path;
  for (char& c : name) c = c == ' ' ? '-' : c;
  if (!write(folder / (name + ".1"), manual::page(command, path, version, date))) return false;
  for (const host::Command& below : command.commands) {
    if (!writePages(below, path + " " + below.name, version, date, folder)) return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s VERSION DATE FOLDER\n", argv[0]);
    return 2;
  }
  const host::Command program = host::programCommand();
  const fs::path folder = argv[3];
  fs::create_directories(folder);
  const bool written = writePages(program, program.name, argv[1], argv[2], folder) &&
                       write(folder / "k2r.bash", manual::bashCompletion(program)) &&
                       write(folder / "_k2r", manual::zshCompletion(program)) &&
                       write(folder / "k2r.fish", manual::fishCompletion(program));
  return written ? 0 : 1;
}
