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

/// What goes wrong in calls of some kinds on some files, and leaves the others alone.
struct Fault {
  /// "open", "read", "write", "fstat", "fsync", "rename", "unlink", with blanks between them.
  const char* calls = "";
  /// How the names of the files end.
  const char* files = "";
  /// 0: half of the bytes are read or written, and the result says so. ENOSPC: the first write takes a quarter.
  int error = 0;
  /// The first of these calls that fails, counted from 0, and how many do in all.
  std::uint32_t first = 0;
  std::uint32_t count = 1;
};

/// The program's own open, write, fsync, rename and their like, which this folder defines in place of the C library's:
/// what they do to the files of one directory is written down, and can be made to fail. The module that the program
/// loads calls them, too. Files elsewhere are not concerned, but for two things that hold throughout: nothing is really
/// flushed, and nobody really sleeps.
class SystemCalls {
 public:
  /// From here on, until the end of the scope, by the thread that makes it. The directory is empty or missing, or what
  /// is done to it does not matter.
  explicit SystemCalls(const std::filesystem::path& directory, const Fault& fault = {});
  ~SystemCalls();
  SystemCalls(const SystemCalls&) = delete;
  SystemCalls& operator=(const SystemCalls&) = delete;

  const std::vector<FileOperation>& operations() const;
  /// Whether the fault has come, and whether it has gone.
  bool faultHappened() const;
  bool faultPassed() const;
};

}  // namespace test
