#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "imo/IMOStreamContext.h"
#include "imo/IMOStreamOpenContext.h"

namespace test {

/// A host in memory: settings in maps, log lines in a list, files through the file context given to it.
class TestHost final : public IMOStreamContext, public IMOStreamOpenContext {
 public:
  explicit TestHost(IMOFileContext* files) : files_(files) {}

  void reserved() override {}
  std::int32_t readConfiguration(const char* key, char** value, std::uint32_t length) override;
  void log(const char* text, std::uint32_t level, bool flag) override;
  IMOFileContext* fileContext() override {
    check("fileContext");
    return files_;
  }
  std::int32_t property(const char* section, const char* key, char* buffer, std::uint32_t size) override;

  /// Both kinds of settings, by whole key.
  std::map<std::string, std::string> settings;
  /// "error: " or "warning: " and the text, in order. A line at another level or flag says so.
  std::vector<std::string> lines;
  /// The operation that throws, what is no std::exception.
  std::string throwing;

 private:
  void check(const char* operation) const {
    if (operation == throwing) throw 1;
  }

  IMOFileContext* files_;
};

/// A file context on a real directory tree, with no durability beyond the process. Removes recursively whatever it is
/// set to, as a host in tests may.
class DiskFileContext : public IMOFileContext {
 public:
  virtual ~DiskFileContext() = default;
  /// Asked in front of each operation, by its name: false makes it fail. May throw.
  std::function<bool(std::string_view)> permits = [](std::string_view) { return true; };
  std::int32_t open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t share) override;
  void close(std::int32_t handle, std::uint32_t reserved) override;
  std::int32_t read(std::int32_t handle, std::uint64_t offset, void* buffer, std::uint32_t length) override;
  std::int32_t write(std::int32_t handle, std::uint64_t offset, const void* buffer, std::uint32_t length) override;
  std::int32_t fileStatus(std::int32_t handle, IMOFileStatus* status, std::uint32_t reserved) override;
  std::int32_t pathStatus(const char* path, IMOFileStatus* status, std::uint32_t reserved) override;
  std::int32_t remove(const char* path, std::uint32_t kind, std::uint32_t recursive) override;
  std::int32_t createDirectory(const char* path) override;
};

/// A native path in the form that the module takes: every slash a backslash.
std::string modulePath(const std::filesystem::path& native);
/// The same bytes.
std::string textOf(std::span<const std::byte> bytes);
/// How often a text is in another one.
std::size_t occurrences(std::string_view text, std::string_view part);
std::string readWholeFile(const std::filesystem::path& path);
void writeWholeFile(const std::filesystem::path& path, const std::string& content);
/// The files of a directory, by their names.
std::map<std::string, std::string> readAllFiles(const std::filesystem::path& directory);
void writeAllFiles(const std::filesystem::path& directory, const std::map<std::string, std::string>& files);

}  // namespace test
