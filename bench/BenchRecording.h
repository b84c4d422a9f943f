#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "imo/imo.h"

// What the benchmarks of recording share: the stream, and a host.

namespace bench {

inline constexpr std::size_t kMegabit = 1000000;
inline constexpr std::uint32_t kFragmentMs = 4000;

using Settings = std::map<std::string, std::string>;

/// A message of the stream, its time counted from the start of its fragment.
struct Message {
  std::uint8_t type;
  std::uint32_t timeMs;
  std::vector<std::byte> data;
};

/// `head`, and random bytes up to `size`.
std::vector<std::byte> payload(std::initializer_list<int> head, std::size_t size);

/// Four seconds: 25 frames a second with a key frame every two seconds, and AAC at 44100 Hz and 128 kbit/s.
std::vector<Message> makeFragment(std::size_t videoBitRate);

/// Four seconds of AAC alone, at 44100 Hz.
std::vector<Message> makeAudioFragment(std::size_t bitRate);

std::size_t bytesOf(const std::vector<Message>& messages);

class BenchHost;

/// The module with a host around it that keeps nothing, or that writes the segments below their folders.
class Server {
 public:
  /// Without `keepsBytes` the bytes of segments are thrown away.
  explicit Server(bool keepsBytes = false, const Settings& settings = {});
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// Calls of the host's write.
  std::uint64_t writes() const;

 private:
  friend class Recording;
  std::unique_ptr<BenchHost> host_;
  std::unique_ptr<IMOStreamAdaptor> adaptor_;
};

/// An open recording, its sequence headers sent. All operations throw if a message is refused or if there is anything
/// to log.
class Recording {
 public:
  enum class Tracks { kVideoAndAudio, kAudio };

  /// In `folder`, native and absolute, which is removed at the end.
  explicit Recording(Server& server, std::string folder = "/dev/shm/k2rbench", Tracks tracks = Tracks::kVideoAndAudio);
  ~Recording();
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  /// `startMs` is that of the message's fragment.
  void record(const Message& message, std::uint32_t startMs);
  /// A whole fragment, after the one before.
  void recordFragment(const std::vector<Message>& messages);

 private:
  IMOStreamAdaptor& adaptor_;
  std::string folder_;
  void* stream_ = nullptr;
  std::uint32_t startMs_ = 0;
};

}  // namespace bench
