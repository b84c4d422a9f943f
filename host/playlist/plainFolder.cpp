#include "host/playlist/plainFolder.h"

#include <fmt/format.h>
#include <sys/types.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <sstream>
#include <system_error>
#include <vector>

#include "host/errors.h"
#include "host/files/FreshFile.h"
#include "host/files/smallFiles.h"
#include "util/bytes.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPlaylistName = "index.m3u8";

/// Makes the folder. Throws CommandError if it contains a file that this command does not write. Temporary files of an
/// interrupted call are allowed.
void requireOwnFolder(const fs::path& folder) {
  static const std::regex own(R"(index\.m3u8|init-[0-9a-f]{16}\.mp4|[0-9]+-[0-9]+\.m4s|\.k2r-[0-9a-f]{8}\.part)");
  std::error_code error;
  fs::create_directory(folder, error);
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    const std::string name = entry.path().filename().string();
    // A link of that name would make us write somewhere else.
    if (std::regex_match(name, own) && entry.is_regular_file() && !entry.is_symlink()) continue;
    throw CommandError(fmt::format("'{}' contains '{}', which is not a file of a plain view; nothing was changed",
                                   folder.string(), name));
  }
  if (error) throw CommandError(fmt::format("cannot use the folder '{}': {}", folder.string(), error.message()));
}

/// The lines of a playlist that never change once they are written: names, dates and discontinuities. The last duration
/// may grow, and the end tag comes late.
std::vector<std::string> lastingLines(const std::string& playlist) {
  static const std::regex changing("#EXT(INF|-X-ENDLIST|-X-PLAYLIST-TYPE|-X-TARGETDURATION).*");
  std::vector<std::string> lines;
  std::istringstream in(playlist);
  for (std::string line; std::getline(in, line);) {
    if (!std::regex_match(line, changing)) lines.push_back(line);
  }
  return lines;
}

/// Throws CommandError if the folder has the view of another recording, whose files have the same names and other
/// content. The old playlist must be the beginning of the new one.
void requireSameRecording(const fs::path& folder, const std::string& playlist) {
  const fs::path path = folder / kPlaylistName;
  if (!fs::exists(path)) return;
  const auto bytes = readSmallFile(path.string());
  const auto old = lastingLines(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  const auto now = lastingLines(playlist);
  if (old.size() <= now.size() && std::equal(old.begin(), old.end(), now.begin())) return;
  throw CommandError(fmt::format("'{}' contains the view of another recording; nothing was changed", folder.string()));
}

/// Writes a file, unless it exists. A fragment that a player or a proxy may have must not change, so the last fragment
/// of a running recording keeps the duration that it had.
template <typename Fill>
void writeOnce(const fs::path& path, const Fill& fill) {
  constexpr mode_t kMode = 0666;
  if (fs::exists(path)) return;
  FreshFile file(path.string(), kMode);
  fill([&file](std::span<const std::byte> bytes) { file.write(bytes); });
  file.keepAsNew();
}

/// The playlist is the only file that changes.
void replacePlaylist(const fs::path& path, const std::string& text) {
  constexpr mode_t kMode = 0666;
  FreshFile file(path.string(), kMode);
  file.write(qvs::util::asBytes(text));
  file.keepInstead();
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
  // Last, so that it never names a file that does not exist yet.
  replacePlaylist(place / kPlaylistName, playlist);
}

}  // namespace host
