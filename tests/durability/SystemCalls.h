#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace test {

/// One thing that was done to the files in a directory. Names are those in the directory; a file keeps its number
/// whatever it is called.
struct FileOperation {
  enum class Kind { kCreate, kTruncate, kWrite, kFlush, kRename, kRemove, kFlushDirectory };
  Kind kind = Kind::kFlush;
  std::uint32_t file = 0;
  std::string name = {};
  /// kRename only.
  std::string newName = {};
  /// kWrite only. One that is durable has reached the device when the call is back.
  std::uint64_t offset = 0;
  std::string data = {};
  bool durable = false;
};

/// The program's own open, write, fsync, rename and their like, which this folder defines in place of the C library's:
/// what they do to the files of one directory is written down, and can be made to fail. The module that the program
/// loads calls them, too. Files elsewhere are not concerned, but for two things that hold throughout: nothing is really
/// flushed, and nobody really sleeps.
class SystemCalls {
 public:
  /// From here on, until the end of the scope, by the thread that makes it. The directory is empty or missing.
  explicit SystemCalls(const std::filesystem::path& directory);
  ~SystemCalls();
  SystemCalls(const SystemCalls&) = delete;
  SystemCalls& operator=(const SystemCalls&) = delete;

  const std::vector<FileOperation>& operations() const;
  /// How many calls there were that can be made to fail.
  std::uint32_t calls() const;
  /// The `first`th call from here on, counted from 0, fails with `error`, and so do the next ones, `count` in all. A
  /// failing write takes half of its bytes where `error` is that there is no space.
  void failFrom(std::uint32_t first, std::uint32_t count, int error);
};

}  // namespace test
