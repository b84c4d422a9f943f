#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace test {

/// One thing that was done to the files in a directory. Names are those in the directory; a file keeps its number
/// whatever it is called.
struct FileOperation {
  enum class Kind { kCreate, kTruncate, kWrite, kFlush, kFailedFlush, kRename, kExchange, kRemove, kFlushDirectory };
  Kind kind = Kind::kFlush;
  std::uint32_t file = 0;
  std::string name = {};
  /// kRename and kExchange only.
  std::string newName = {};
  /// kExchange only: the file that gets `name`.
  std::uint32_t otherFile = 0;
  /// kWrite, and kTruncate: then the size.
  std::uint64_t offset = 0;
  std::string data = {};
};

/// What goes wrong in calls of some kinds on some files, and leaves the others alone.
struct Fault {
  static constexpr int kShort = 0;
  static constexpr int kKill = -1;
  static constexpr int kStop = -2;

  /// With blanks between them: "open", "create" (an open that may), "close", "read", "write", "truncate", "fstat",
  /// "lookup" (stat, lstat, access), "chmod", "flock", "fsync" (any flush), "begin" (sync_file_range), "mkdir",
  /// "rmdir", "link", "rename", "unlink", and in a whole process "readdir".
  const char* calls = "";
  /// How the names of the files end.
  const char* files = "";
  /// The errno of the call; after ENOSPC, the first write still takes a quarter. kShort: half of the bytes are read or
  /// written, and the result says so. kKill: the process is killed before the call, or with half of a write done.
  /// kStop: the process is stopped (SIGSTOP) before the call.
  int error = kShort;
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

/// For each call that the fault's kinds and files cover, whether it fails.
using CallListener = void (*)(const char* call, std::string_view name, bool fails);

/// Watches all threads of the process from here on, which makes its calls from one at a time. Operations are not kept.
void watchProcess(const std::filesystem::path& directory, const Fault& fault, CallListener listener);

/// For calls that are defined elsewhere: whether this one, on an open file, is to fail, with errno set.
bool descriptorFails(const char* call, int fd);

}  // namespace test
