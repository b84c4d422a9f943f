#include "bench/BenchRecording.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "imo/imo.h"
#include "util/tagHeader.h"

namespace bench {
namespace {

std::string toNative(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

/// Counts writes, and keeps their bytes only on request.
class BenchFiles final : public IMOFileContext {
 public:
  explicit BenchFiles(bool keepsBytes) : keepsBytes_(keepsBytes) {}

  std::int32_t open(const char* path, std::uint32_t, std::uint32_t, std::uint32_t) override {
    return keepsBytes_ ? ::open(toNative(path).c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600) : 1000;
  }
  void close(std::int32_t handle, std::uint32_t) override {
    if (keepsBytes_) ::close(handle);
  }
  std::int32_t read(std::int32_t, std::uint64_t, void*, std::uint32_t) override { return 0; }
  std::int32_t write(std::int32_t handle, std::uint64_t offset, const void* buffer, std::uint32_t length) override {
    ++writes;
    if (!keepsBytes_) return static_cast<std::int32_t>(length);
    // The file is kept from filling the memory: what counts is the copy into it.
    constexpr std::uint64_t kWindow = 64ULL << 20;
    return static_cast<std::int32_t>(::pwrite(handle, buffer, length, static_cast<off_t>(offset % kWindow)));
  }
  std::int32_t fileStatus(std::int32_t, IMOFileStatus* status, std::uint32_t) override {
    status->size = 0;
    return 0;
  }
  std::int32_t pathStatus(const char*, IMOFileStatus*, std::uint32_t) override { return -1; }
  std::int32_t remove(const char* path, std::uint32_t, std::uint32_t) override {
    std::filesystem::remove_all(toNative(path));
    return 0;
  }
  std::int32_t createDirectory(const char* path) override {
    std::filesystem::create_directories(toNative(path));
    return 0;
  }

  std::uint64_t writes = 0;

 private:
  bool keepsBytes_;
};

IMOCreateAdaptorFunction loadEntry() {
  void* const module = ::dlopen(K2R_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) throw std::runtime_error(::dlerror());
  return reinterpret_cast<IMOCreateAdaptorFunction>(::dlsym(module, "IMOCreateAdaptor"));
}

/// AAC at 44100 Hz.
void addAudio(std::vector<Message>& messages, std::size_t frameBytes) {
  for (std::uint32_t frame = 0; frame < 172; ++frame) {
    messages.push_back({qvs::util::kAudioTag, static_cast<std::uint32_t>(frame * 1024ULL * 1000 / 44100),
                        payload({0xAF, 1}, frameBytes)});
  }
}

}  // namespace

std::vector<std::byte> payload(std::initializer_list<int> head, std::size_t size) {
  std::vector<std::byte> data;
  for (const int byte : head) data.push_back(static_cast<std::byte>(byte));
  while (data.size() < size) data.push_back(static_cast<std::byte>(std::rand()));
  return data;
}

class BenchHost final : public IMOStreamContext, public IMOStreamOpenContext {
 public:
  BenchHost(bool keepsBytes, const Settings& settings) : files(keepsBytes), settings_(settings) {}
  void reserved() override {}
  std::int32_t readConfiguration(const char*, char**, std::uint32_t) override { return -1; }
  std::int32_t property(const char*, const char* key, char* buffer, std::uint32_t size) override {
    const auto found = settings_.find(key);
    if (found == settings_.end() || found->second.size() >= size) return -1;
    buffer[found->second.copy(buffer, size - 1)] = '\0';
    return 0;
  }
  void log(const char* text, std::uint32_t, bool) override { throw std::runtime_error(text); }
  IMOFileContext* fileContext() override { return &files; }

  BenchFiles files;

 private:
  Settings settings_;
};

Server::Server(bool keepsBytes, const Settings& settings) : host_(std::make_unique<BenchHost>(keepsBytes, settings)) {
  static const IMOCreateAdaptorFunction create = loadEntry();
  IMOStreamAdaptor* made = nullptr;
  if (!create(host_.get(), &made)) throw std::runtime_error("no adaptor");
  adaptor_.reset(made);
}

Server::~Server() = default;

std::uint64_t Server::writes() const {
  return host_->files.writes;
}

Recording::Recording(Server& server, std::string folder, Tracks tracks)
    : adaptor_(*server.adaptor_), folder_(std::move(folder)) {
  std::string path = folder_;
  std::replace(path.begin(), path.end(), '/', '\\');
  if (adaptor_.open(server.host_.get(), path.c_str(), kOpenRecord, nullptr, stream_) != kStreamOpened) {
    throw std::runtime_error("cannot open");
  }
  record({qvs::util::kAmf0DataTag, 0,
          payload({2, 0, 10, 'o', 'n', 'M', 'e', 't', 'a', 'D', 'a', 't', 'a', 8, 0, 0, 0, 0, 0, 0, 9}, 21)},
         0);
  if (tracks == Tracks::kVideoAndAudio) {
    record({qvs::util::kVideoTag, 0, payload({0x17, 0, 0, 0, 0, 1, 0x64, 0, 0x1E, 0xFF, 0xE0, 0}, 12)}, 0);
  }
  record({qvs::util::kAudioTag, 0, payload({0xAF, 0, 0x12, 0x10}, 4)}, 0);
}

Recording::~Recording() {
  adaptor_.stopRecord(stream_);
  adaptor_.close(stream_);
  std::filesystem::remove_all(folder_);
}

void Recording::record(const Message& message, std::uint32_t startMs) {
  if (!adaptor_.record(stream_, message.type, message.data.data(), static_cast<std::uint32_t>(message.data.size()),
                       startMs + message.timeMs)) {
    throw std::runtime_error("refused");
  }
}

void Recording::recordFragment(const std::vector<Message>& messages) {
  for (const Message& message : messages) record(message, startMs_);
  startMs_ += kFragmentMs;
}

std::vector<Message> makeFragment(std::size_t videoBitRate) {
  std::vector<Message> messages;
  for (std::uint32_t frame = 0; frame < 100; ++frame) {
    const int frameType = frame % 50 == 0 ? 0x17 : 0x27;
    messages.push_back({qvs::util::kVideoTag, frame * 40, payload({frameType, 1, 0, 0, 0}, videoBitRate / 8 / 25)});
  }
  addAudio(messages, 371);
  std::stable_sort(messages.begin(), messages.end(),
                   [](const Message& a, const Message& b) { return a.timeMs < b.timeMs; });
  return messages;
}

std::vector<Message> makeAudioFragment(std::size_t bitRate) {
  std::vector<Message> messages;
  addAudio(messages, bitRate / 8 * 1024 / 44100);
  return messages;
}

std::size_t bytesOf(const std::vector<Message>& messages) {
  std::size_t size = 0;
  for (const Message& message : messages) size += message.data.size();
  return size;
}

}  // namespace bench
