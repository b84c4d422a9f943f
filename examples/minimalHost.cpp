// The smallest host that loses nothing: loads the module, records ten seconds of generated audio and says what became
// of them. docs/hosting.md explains each step.
//
//     minimal_host MODULE DIR      DIR is absolute; it is made, or is empty. The files in it are named after it.
//
// A media server does the same with its real streams. All it needs is the headers of include/ and dlopen.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

#include "imo/imo.h"

namespace {

/// Paths of the module have backslashes, those of the system slashes.
std::string replaced(std::string path, char from, char to) {
  std::replace(path.begin(), path.end(), from, to);
  return path;
}

/// File services for the segment files of one directory, which is open as `directory`.
class Files final : public IMOFileContext {
 public:
  explicit Files(int directory) : directory_(directory) {}

  /// O_DSYNC makes each write durable before it returns: right after it the module names the bytes in its index. The
  /// name of a new file has to be durable, too.
  std::int32_t open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t) override {
    const int truncate = (flags & kIMOTruncate) != 0 ? O_TRUNC : 0;
    const int file = ::open(replaced(path, '\\', '/').c_str(), O_RDWR | O_CREAT | O_DSYNC | O_CLOEXEC | truncate, mode);
    if (file == -1 || ::fsync(directory_) == 0) return file;
    ::close(file);
    return -1;
  }
  void close(std::int32_t handle, std::uint32_t) override { ::close(handle); }
  std::int32_t read(std::int32_t handle, std::uint64_t offset, void* buffer, std::uint32_t length) override {
    return static_cast<std::int32_t>(::pread(handle, buffer, length, static_cast<off_t>(offset)));
  }
  std::int32_t write(std::int32_t handle, std::uint64_t offset, const void* buffer, std::uint32_t length) override {
    return static_cast<std::int32_t>(::pwrite(handle, buffer, length, static_cast<off_t>(offset)));
  }
  std::int32_t fileStatus(std::int32_t handle, IMOFileStatus* status, std::uint32_t) override {
    struct stat found {};
    return result(::fstat(handle, &found), found, *status);
  }
  std::int32_t pathStatus(const char* path, IMOFileStatus* status, std::uint32_t) override {
    struct stat found {};
    return result(::stat(replaced(path, '\\', '/').c_str(), &found), found, *status);
  }
  /// Removes nothing. The directory has to stay, since the lock is on it.
  std::int32_t remove(const char*, std::uint32_t, std::uint32_t) override { return 0; }
  /// The directory is there. If it is not empty, this ends the opening: without that the module would remove the old
  /// recording in it.
  std::int32_t createDirectory(const char* path) override {
    std::error_code error;
    return std::filesystem::is_empty(replaced(path, '\\', '/'), error) && !error ? 0 : -1;
  }

 private:
  /// -1 means "no such file" to the module, so any other failure needs another number.
  static std::int32_t result(int failed, const struct stat& found, IMOFileStatus& status) {
    status.size = found.st_size;
    return failed == 0 ? 0 : errno == ENOENT ? -1 : -2;
  }

  int directory_;
};

/// -1 for every setting gives its default. The log goes to standard error, and its errors are counted.
class Host final : public IMOStreamContext, public IMOStreamOpenContext {
 public:
  explicit Host(int directory) : files_(directory) {}

  void reserved() override {}
  std::int32_t readConfiguration(const char*, char**, std::uint32_t) override { return -1; }
  std::int32_t property(const char*, const char*, char*, std::uint32_t) override { return -1; }
  void log(const char* text, std::uint32_t level, bool) override {
    if (level == kIMOLogError) ++errors_;
    std::fprintf(stderr, "%s: %s\n", level == kIMOLogError ? "error" : "warning", text);
  }
  IMOFileContext* fileContext() override { return &files_; }
  unsigned errors() const { return errors_; }

 private:
  Files files_;
  unsigned errors_ = 0;
};

constexpr std::uint8_t kAudio = 8;
constexpr std::uint8_t kScriptData = 18;
constexpr std::uint32_t kFragmentMs = 4000;  // The default of Recording/FragmentDuration.

/// Sends a message again that was not taken: if a fragment could not be written, the module keeps it the second time.
template <std::size_t size>
bool send(IMOStreamAdaptor& adaptor, void* stream, std::uint8_t type, const char (&data)[size], std::uint32_t timeMs) {
  constexpr std::uint32_t kLength = size - 1;  // A literal has a zero at its end.
  return adaptor.record(stream, type, data, kLength, timeMs) || adaptor.record(stream, type, data, kLength, timeMs);
}

/// Frames of AAC-LC, 44100 Hz, have 1024 samples.
constexpr unsigned kFrames = 430;
constexpr std::uint32_t timeOfFrame(std::uint64_t frame) {
  return static_cast<std::uint32_t>(frame * 1024 * 1000 / 44100);
}

/// Metadata ("onMetaData" and an empty array; with video it would have numbers "width" and "height"), the configuration
/// of the codec, then frames of silence in stereo. Returns how many of them were taken.
unsigned recordAudio(IMOStreamAdaptor& adaptor, void* stream) {
  unsigned taken = 0;
  if (!send(adaptor, stream, kScriptData, "\x02\0\x0aonMetaData\x08\0\0\0\0\0\0\x09", 0)) return 0;
  if (!send(adaptor, stream, kAudio, "\xAF\x00\x12\x10", 0)) return 0;
  for (unsigned frame = 0; frame < kFrames; ++frame) {
    if (send(adaptor, stream, kAudio, "\xAF\x01\x21\x10\x04\x60\x8C\x1C", timeOfFrame(frame))) ++taken;
  }
  return taken;
}

/// The stop drops what is not in a fragment yet. A made-up message on the next line of the grid closes the last
/// fragment of audio; bit 7 in its type keeps it out of the recording.
bool closeLastFragment(IMOStreamAdaptor& adaptor, void* stream) {
  constexpr std::uint32_t kNextLineMs = (timeOfFrame(kFrames - 1) / kFragmentMs + 1) * kFragmentMs;
  return send(adaptor, stream, kAudio | 0x80, "\xAF\x01", kNextLineMs);
}

int recordInto(IMOStreamAdaptor& adaptor, Host& host, const char* directory) {
  void* stream = nullptr;
  const std::string path = replaced(directory, '/', '\\');
  if (adaptor.open(&host, path.c_str(), kOpenRecord, nullptr, stream) != kStreamOpened) return 1;
  const unsigned taken = recordAudio(adaptor, stream);
  const bool isClosed = closeLastFragment(adaptor, stream);
  const unsigned errors = host.errors();
  adaptor.stopRecord(stream);  // True always: what failed is in the log.
  const bool isFinished = host.errors() == errors;
  std::printf("%u of %u frames recorded into %s\n", taken, kFrames, directory);
  adaptor.close(stream);
  return taken == kFrames && isClosed && isFinished ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s MODULE DIR\n", argv[0]);
    return 2;
  }
  // One recorder a directory: k2r takes the same lock, which ends with the process. The flush is for a new directory.
  ::mkdir(argv[2], 0777);
  const int directory = ::open(argv[2], O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory == -1 || ::flock(directory, LOCK_EX | LOCK_NB) != 0 || ::syncfs(directory) != 0) {
    std::perror(argv[2]);
    return 1;
  }
  void* const module = ::dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  void* const entry = module == nullptr ? nullptr : ::dlsym(module, "IMOCreateAdaptor");
  if (entry == nullptr) {
    std::fprintf(stderr, "%s\n", ::dlerror());
    return 1;
  }
  Host host(directory);
  IMOStreamAdaptor* made = nullptr;
  if (!reinterpret_cast<IMOCreateAdaptorFunction>(entry)(&host, &made)) return 1;
  const std::unique_ptr<IMOStreamAdaptor> adaptor(made);
  return recordInto(*adaptor, host, argv[2]);
}
