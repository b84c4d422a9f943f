#include "tests/support/TestHost.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "platform/os/fileCalls.h"
#include "platform/os/paths.h"

namespace test {

std::int32_t TestHost::readConfiguration(const char* key, char** value, std::uint32_t length) {
  check("readConfiguration");
  const auto found = settings.find(key);
  if (found == settings.end()) return -1;
  const std::size_t size = found->second.size() + 1;
  if (size > length) return static_cast<std::int32_t>(size);
  std::memcpy(*value, found->second.c_str(), size);
  return 0;
}

void TestHost::log(const char* text, std::uint32_t level, bool flag) {
  check("log");
  const bool isError = level == kIMOLogError && flag;
  const bool isWarning = level == kIMOLogWarning && !flag;
  lines.push_back((isError ? "error: " : isWarning ? "warning: " : "unknown level: ") + std::string(text));
}

std::int32_t TestHost::property(const char* section, const char* key, char* buffer, std::uint32_t size) {
  check("property");
  if (std::string(section) != "recording") throw std::logic_error("an unknown section is asked for");
  const auto found = settings.find(key);
  if (found == settings.end()) return -1;
  const std::size_t length = found->second.size();
  if (length + 1 > size) return static_cast<std::int32_t>(length);
  std::memcpy(buffer, found->second.c_str(), length + 1);
  return 0;
}

std::int32_t DiskFileContext::open(const char* path, std::uint32_t flags, std::uint32_t, std::uint32_t) {
  if (!permits("open")) return -1;
  return ::open(platform::os::toNative(path).c_str(), platform::os::toPosixFlags(flags), 0600);
}

void DiskFileContext::close(std::int32_t handle, std::uint32_t) {
  permits("close");
  ::close(handle);
}

std::int32_t DiskFileContext::read(std::int32_t handle, std::uint64_t offset, void* buffer, std::uint32_t length) {
  if (!permits("read")) return -1;
  return static_cast<std::int32_t>(::pread(handle, buffer, length, static_cast<off_t>(offset)));
}

std::int32_t DiskFileContext::write(std::int32_t handle, std::uint64_t offset, const void* buffer,
                                    std::uint32_t length) {
  if (!permits("write")) return -1;
  return static_cast<std::int32_t>(::pwrite(handle, buffer, length, static_cast<off_t>(offset)));
}

std::int32_t DiskFileContext::fileStatus(std::int32_t handle, IMOFileStatus* status, std::uint32_t) {
  if (!permits("fileStatus")) return -1;
  struct stat found {};
  const std::int32_t answer = ::fstat(handle, &found);
  if (answer == 0) status->size = found.st_size;
  return answer;
}

std::int32_t DiskFileContext::pathStatus(const char* path, IMOFileStatus* status, std::uint32_t) {
  if (!permits("pathStatus")) return -1;
  struct stat found {};
  const std::int32_t answer = ::stat(platform::os::toNative(path).c_str(), &found);
  if (answer == 0) status->size = found.st_size;
  return answer;
}

std::int32_t DiskFileContext::remove(const char* path, std::uint32_t, std::uint32_t) {
  if (!permits("remove")) return -1;
  std::error_code failure;
  std::filesystem::remove_all(platform::os::toNative(path), failure);
  return failure ? -1 : 0;
}

std::int32_t DiskFileContext::createDirectory(const char* path) {
  if (!permits("createDirectory")) return -1;
  std::error_code failure;
  std::filesystem::create_directories(platform::os::toNative(path), failure);
  return failure ? -1 : 0;
}

std::string modulePath(const std::filesystem::path& native) {
  std::string path = native.string();
  std::replace(path.begin(), path.end(), '/', '\\');
  return path;
}

std::string textOf(std::span<const std::byte> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::size_t occurrences(std::string_view text, std::string_view part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

std::string readWholeFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path.string());
  return {std::istreambuf_iterator<char>(in), {}};
}

void writeWholeFile(const std::filesystem::path& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(content.data(), static_cast<std::streamsize>(content.size()));
  if (!out.flush()) throw std::runtime_error("cannot write " + path.string());
}

std::map<std::string, std::string> readAllFiles(const std::filesystem::path& directory) {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    files[entry.path().filename().string()] = readWholeFile(entry.path());
  }
  return files;
}

void writeAllFiles(const std::filesystem::path& directory, const std::map<std::string, std::string>& files) {
  std::filesystem::create_directories(directory);
  for (const auto& [name, content] : files) writeWholeFile(directory / name, content);
}

}  // namespace test
