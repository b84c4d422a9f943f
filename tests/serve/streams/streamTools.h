#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "host/serve/http/ListenSocket.h"
#include "host/serve/streams/Supervisor.h"
#include "tests/host/hostTools.h"
#include "tests/support/tagFile.h"

namespace test {

/// A live source: an FLV stream for each connection to a port of this machine.
class FlvServer {
 public:
  FlvServer() = default;
  ~FlvServer() { close(); }
  FlvServer(const FlvServer&) = delete;
  FlvServer& operator=(const FlvServer&) = delete;

  std::string url() const { return "tcp://127.0.0.1:" + std::to_string(socket_.port()); }
  /// Waits for the next connection. The one before ends.
  void accept() {
    close();
    pollfd incoming{socket_.get(), POLLIN, 0};
    ::poll(&incoming, 1, 60'000);
    connection_ = ::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC);
    if (connection_ == -1) throw std::runtime_error("nobody connects");
    write(fromHex("464c5601 05 00000009 00000000"));
  }
  void send(const std::vector<StreamMessage>& messages) {
    // A tag stream but for its header.
    const auto file = tagFile(messages);
    write({file.begin() + 13, file.end()});
  }
  void close() {
    if (connection_ != -1) ::close(connection_);
    connection_ = -1;
  }

 private:
  void write(const std::vector<std::byte>& bytes) {
    for (std::size_t done = 0; done < bytes.size();) {
      const ssize_t count = ::send(connection_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
      if (count <= 0) throw std::runtime_error("the connection has ended");
      done += static_cast<std::size_t>(count);
    }
  }

  host::serve::ListenSocket socket_{"127.0.0.1", 0};
  int connection_ = -1;
};

/// Messages whose AVC frames have the form of a NAL unit with a slice, since a demuxer looks for key frames there.
inline std::vector<StreamMessage> withSlices(std::vector<StreamMessage> messages) {
  for (StreamMessage& message : messages) {
    if (message.type != qvs::util::kVideoTag || message.data[1] == std::byte{0}) continue;
    const bool isKey = message.data[0] == std::byte{0x17};
    qvs::util::storeBigEndian(message.data.data() + 5, 4, message.data.size() - 9);
    // First macroblock 0, all slices I or P, picture set 0.
    // With ones after it, since a parser reads on.
    const auto slice = fromHex(isKey ? "65 88 80" : "41 9b 80");
    std::fill_n(std::ranges::copy(slice, message.data.begin() + 9).out, 40, std::byte{0xFF});
  }
  return messages;
}

/// What the recorders report, "began cam1 NAME" and the like.
class EventList final : public host::serve::RecordingEvents {
  using Place = host::serve::RecordingPlace;

 public:
  void began(const Place& recording) override { add("began ", recording); }
  void grew(const Place& recording) override {
    add("grew ", recording);
    for (int i = 0; hangs && i < 2000; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  void finished(const Place& recording, bool isEmpty) override { add(isEmpty ? "emptied " : "finished ", recording); }
  void interrupted(const Place& recording) override { add("interrupted ", recording); }
  /// Waits until there are so many of an event.
  void await(const std::string& event, std::size_t count) {
    std::unique_lock lock(mutex_);
    const bool came = changed_.wait_for(lock, std::chrono::seconds(20), [&] { return countOf(event) >= count; });
    if (!came) throw std::runtime_error("no " + event);
  }
  /// A recorder that reports a fragment does not come back while this is set, as in a disk that hangs.
  std::atomic<bool> hangs = false;
  std::size_t count(const std::string& event) const {
    const std::scoped_lock lock(mutex_);
    return countOf(event);
  }

 private:
  void add(const std::string& event, const Place& recording) {
    const std::scoped_lock lock(mutex_);
    events_.push_back(event + recording.stream);
    changed_.notify_all();
  }
  std::size_t countOf(const std::string& event) const {
    return static_cast<std::size_t>(std::ranges::count(events_, event));
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  /// Guarded by `mutex_`.
  std::vector<std::string> events_;
};

/// A supervisor that records into a directory of its own, by a clock that the test sets.
class StreamsTest : public InDirectory {
 protected:
  /// 2026-11-25 14:03:20 UTC.
  static constexpr std::int64_t kStartMs = 1795615400000;

  StreamsTest() : module_(host::findModule()) {}

  host::serve::StreamConfig config(const std::string& name, const std::string& source) const {
    host::serve::StreamConfig config{.name = name, .source = source, .root = root()};
    // The server sends nothing that a probe could learn more from.
    if (source.starts_with("tcp:")) config.inputOptions = {"probesize=4096", "analyzeduration=100000"};
    config.settings = {"Recording/FragmentDuration=2000"};
    config.durability = host::serve::Durability::kProcess;
    return config;
  }
  std::string root() const { return (directory_.path() / "root").string(); }
  host::serve::StreamServices services() {
    host::serve::StreamServices services{.module = module_, .events = events_};
    services.now = [this] { return nowMs_.load(); };
    services.log = log_.get();
    services.makeRoom = [this](const std::string&) { ++roomRequests_; };
    services.firstPause = services.longestPause = std::chrono::milliseconds(10);
    services.roomPause = std::chrono::milliseconds(0);
    return services;
  }
  host::serve::Supervisor& supervisor() {
    if (!supervisor_) supervisor_ = std::make_unique<host::serve::Supervisor>(services());
    return *supervisor_;
  }
  void apply(std::vector<host::serve::StreamConfig> streams) {
    host::serve::ServeConfig all;
    all.streams = std::move(streams);
    supervisor().apply(all);
  }
  /// Waits until the stream's snapshot is so.
  template <typename Condition>
  host::serve::StreamSnapshot await(const std::string& name, const Condition& condition) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (true) {
      const auto snapshot = supervisor().find(name)->snapshot;
      if (condition(snapshot)) return snapshot;
      if (std::chrono::steady_clock::now() > until) throw std::runtime_error(name + " does not come into that state");
      std::this_thread::yield();
    }
  }
  /// Waits until almost all of these messages are received: a few wait for those that follow.
  void awaitReceived(const std::string& name, const std::vector<StreamMessage>& sent) {
    await(name, [&](const auto& now) { return now.received.frames + 10 >= framesOf(sent).size(); });
  }
  /// Names of a stream's recordings.
  std::vector<std::string> recordings(const std::string& name) const {
    std::vector<std::string> names;
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(root() + "/" + name, ignored)) {
      names.push_back(entry.path().filename().string());
    }
    std::ranges::sort(names);
    return names;
  }
  /// The frames of a recording, which is to be whole.
  std::vector<StreamMessage> stored(const std::string& name, const std::string& recording) const {
    const std::string path = root() + "/" + name + "/" + recording;
    expectWhole(path);
    const TempDirectory place;
    const auto exported = k2r({"export", path, "--out", place.file("out.mtg")});
    EXPECT_EQ(exported.status, 0) << exported.errors;
    return framesOf(messagesOf(place.file("out.mtg")));
  }
  static std::vector<StreamMessage> framesOf(std::vector<StreamMessage> messages) {
    std::erase_if(messages,
                  [](const StreamMessage& message) { return message.type == 18 || isSequenceHeader(message); });
    return messages;
  }
  /// The data of the frames of one kind.
  static std::vector<std::vector<std::byte>> dataOf(const std::vector<StreamMessage>& frames, std::uint8_t type) {
    std::vector<std::vector<std::byte>> data;
    for (const StreamMessage& frame : frames) {
      if (frame.type == type) data.push_back(frame.data);
    }
    return data;
  }
  /// Fails unless all recordings of the stream together have exactly these frames, each kind in order.
  void expectStored(const std::string& name, const std::vector<StreamMessage>& sent) {
    std::vector<StreamMessage> all;
    for (const std::string& recording : recordings(name)) {
      const auto frames = stored(name, recording);
      all.insert(all.end(), frames.begin(), frames.end());
    }
    for (const std::uint8_t type : {qvs::util::kAudioTag, qvs::util::kVideoTag}) {
      const auto expected = dataOf(framesOf(sent), type), found = dataOf(all, type);
      EXPECT_EQ(found.size(), expected.size()) << unsigned{type};
      EXPECT_TRUE(found == expected) << unsigned{type};
    }
  }

  std::atomic<std::int64_t> nowMs_ = kStartMs;
  std::atomic<int> roomRequests_ = 0;
  EventList events_;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> log_{std::fopen("log.txt", "w"), std::fclose};
  host::Module module_;
  std::unique_ptr<host::serve::Supervisor> supervisor_;
};

}  // namespace test
