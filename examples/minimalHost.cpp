// The smallest host: loads the module, records ten seconds of generated audio and prints the recorded duration.
//
//     minimal_host MODULE DIR      DIR is absolute, and is made; the recording's files are in it, named after it
//
// A media server does the same with its real streams. All it needs is the headers of include/ and dlopen.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "imo/imo.h"

namespace {

/// Paths of the module have backslashes; these two functions are inverse for paths without one.
std::string toNative(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

std::string toModule(std::string path) {
  std::replace(path.begin(), path.end(), '/', '\\');
  return path;
}

/// File services for the segment files. O_DSYNC makes each write durable before it returns: right after it the module
/// names the bytes in its index.
class Files final : public IMOFileContext {
 public:
  std::int32_t open(const char* path, std::uint32_t flags, std::uint32_t mode, std::uint32_t) override {
    const int truncate = (flags & kIMOTruncate) != 0 ? O_TRUNC : 0;
    return ::open(toNative(path).c_str(), O_RDWR | O_CREAT | O_DSYNC | truncate, mode);
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
    if (::fstat(handle, &found) != 0) return -1;
    status->size = found.st_size;
    return 0;
  }
  std::int32_t pathStatus(const char* path, IMOFileStatus* status, std::uint32_t) override {
    struct stat found {};
    if (::stat(toNative(path).c_str(), &found) != 0) return errno == ENOENT ? -1 : -2;
    status->size = found.st_size;
    return 0;
  }
  /// Removes an empty directory only: this host never deletes a recording, so one that is there fails the opening.
  std::int32_t remove(const char* path, std::uint32_t, std::uint32_t) override {
    const std::string native = toNative(path);
    return ::rmdir(native.c_str()) == 0 || ::access(native.c_str(), F_OK) != 0 ? 0 : -1;
  }
  std::int32_t createDirectory(const char* path) override { return ::mkdir(toNative(path).c_str(), 0755); }
};

/// -1 for every setting gives its default; the log goes to standard error.
class Host final : public IMOStreamContext, public IMOStreamOpenContext {
 public:
  void reserved() override {}
  std::int32_t readConfiguration(const char*, char**, std::uint32_t) override { return -1; }
  std::int32_t property(const char*, const char*, char*, std::uint32_t) override { return -1; }
  void log(const char* text, std::uint32_t level, bool) override {
    std::fprintf(stderr, "%s: %s\n", level == kIMOLogError ? "error" : "warning", text);
  }
  IMOFileContext* fileContext() override { return &files_; }

 private:
  Files files_;
};

constexpr std::uint8_t kAudio = 8;
constexpr std::uint8_t kScriptData = 18;

/// A new recording begins with its metadata, script data in AMF0: "onMetaData" and an array, empty here; with video it
/// would have numbers "width" and "height".
bool recordMetadata(IMOStreamAdaptor& adaptor, void* stream) {
  constexpr char kMetadata[] = "\x02\0\x0aonMetaData\x08\0\0\0\0\0\0\x09";
  return adaptor.record(stream, kScriptData, kMetadata, sizeof kMetadata - 1, 0);
}

/// AAC-LC, 44100 Hz, stereo: the configuration, then a frame of silence every 1024 samples.
bool recordAudio(IMOStreamAdaptor& adaptor, void* stream) {
  constexpr std::uint8_t kConfiguration[] = {0xAF, 0x00, 0x12, 0x10};
  constexpr std::uint8_t kSilence[] = {0xAF, 0x01, 0x21, 0x10, 0x04, 0x60, 0x8C, 0x1C};
  bool accepted = adaptor.record(stream, kAudio, kConfiguration, sizeof kConfiguration, 0);
  for (std::uint32_t frame = 0; frame < 430; ++frame) {
    const std::uint32_t timeMs = static_cast<std::uint32_t>(frame * 1024ULL * 1000 / 44100);
    accepted = adaptor.record(stream, kAudio, kSilence, sizeof kSilence, timeMs) && accepted;
  }
  return accepted;
}

int recordInto(IMOStreamAdaptor& adaptor, Host& host, const char* directory) {
  void* stream = nullptr;
  if (adaptor.open(&host, toModule(directory).c_str(), kOpenRecord, nullptr, stream) != kStreamOpened) {
    std::fprintf(stderr, "cannot record into %s\n", directory);
    return 1;
  }
  const bool accepted = recordMetadata(adaptor, stream) && recordAudio(adaptor, stream);
  adaptor.stopRecord(stream);
  const unsigned durationMs = adaptor.getDuration(stream);
  adaptor.close(stream);
  std::printf("%u ms recorded into %s\n", durationMs, directory);
  return accepted ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s MODULE DIR\n", argv[0]);
    return 2;
  }
  void* const module = ::dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  void* const entry = module == nullptr ? nullptr : ::dlsym(module, "IMOCreateAdaptor");
  if (entry == nullptr) {
    std::fprintf(stderr, "%s\n", ::dlerror());
    return 1;
  }
  Host host;
  IMOStreamAdaptor* made = nullptr;
  if (!reinterpret_cast<IMOCreateAdaptorFunction>(entry)(&host, &made)) return 1;
  const std::unique_ptr<IMOStreamAdaptor> adaptor(made);
  return recordInto(*adaptor, host, argv[2]);
}
