#include "host/playlist/plainFolder.h"

#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <system_error>
#include <vector>

#include "host/errors.h"
#include "host/files/smallFiles.h"
#include "util/bytes.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPlaylistName = "index.m3u8";

/// A folder that already holds such files only, or nothing.
void requireOwnFolder(const fs::path& folder) {
  static const std::regex own(R"(index\.m3u8|init-[0-9a-f]{16}\.mp4|[0-9]+-[0-9]+\.m4s)");
  std::error_code error;
  fs::create_directory(folder, error);
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    const std::string name = entry.path().filename().string();
    if (std::regex_match(name, own) && entry.is_regular_file() && !entry.is_symlink()) continue;
    throw CommandError(
        fmt::format("'{}' holds '{}', which is no file of a plain view; nothing was changed", folder.string(), name));
  }
  if (error) throw CommandError(fmt::format("cannot use the folder '{}': {}", folder.string(), error.message()));
}

/// The lines of a playlist that never change once they are written: addresses, dates and what parts them. The last
/// duration may grow, and the end comes late.
std::vector<std::string> lastingLines(const std::string& playlist) {
  static const std::regex changing("#EXT(INF|-X-ENDLIST|-X-PLAYLIST-TYPE|-X-TARGETDURATION).*");
  std::vector<std::string> lines;
  std::istringstream in(playlist);
  for (std::string line; std::getline(in, line);) {
    if (!std::regex_match(line, changing)) lines.push_back(line);
  }
  return lines;
}

/// The same names stand for other bytes in the view of another recording.
void requireSameRecording(const fs::path& folder, const std::string& playlist) {
  const fs::path path = folder / kPlaylistName;
  if (!fs::exists(path)) return;
  const auto bytes = readSmallFile(path.string());
  const auto old = lastingLines(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  const auto now = lastingLines(playlist);
  if (old.size() <= now.size() && std::equal(old.begin(), old.end(), now.begin())) return;
  throw CommandError(fmt::format("'{}' holds the view of another recording; nothing was changed", folder.string()));
}

template <typename Fill>
void writeOnce(const fs::path& path, const Fill& fill) {
  if (fs::exists(path)) return;
  const std::string temporary = path.string() + ".part";
  std::ofstream out(temporary, std::ios::binary);
  fill([&out](std::span<const std::byte> bytes) {
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  });
  out.close();
  std::error_code error;
  if (out) fs::rename(temporary, path, error);
  if (!out || error) {
    fs::remove(temporary, error);
    throw CommandError(fmt::format("'{}' cannot be written", path.string()));
  }
}

}  // namespace

void writePlainFolder(const PlainView& view, const std::string& folder) {
  const fs::path place(folder);
  const std::string playlist = view.playlist();
  requireOwnFolder(place);
  requireSameRecording(place, playlist);
  for (const auto& [name, bytes] : view.headers()) {
    writeOnce(place / name, [&bytes = bytes](const PlainView::Take& take) { take(bytes); });
  }
  for (std::size_t i = 0; i < view.fragmentCount(); ++i) {
    writeOnce(place / view.fragmentName(i), [&](const PlainView::Take& take) { view.readFragment(i, take); });
  }
  replaceSmallFile((place / kPlaylistName).string(), qvs::util::asBytes(playlist));
}

}  // namespace host
