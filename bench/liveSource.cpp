// Sends a transport stream in real time to many readers at once, as as many cameras would, each from another place in
// the file. For measurements with hundreds of inputs; see docs/performance.md.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kPacket = 188;
/// What a UDP datagram holds: seven packets, as usual.
constexpr std::size_t kDatagram = 7 * kPacket;
/// As often as a camera has a picture.
constexpr auto kTick = std::chrono::milliseconds(40);
/// Readers begin at this many different places, which are so far apart.
constexpr std::size_t kPlaces = 100;
constexpr auto kDistance = std::chrono::milliseconds(130);

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "live_source: %s: %s\n", what, std::strerror(errno));
  std::exit(1);
}

std::span<const char> mapFile(const char* path) {
  const int fd = ::open(path, O_RDONLY);
  struct stat status = {};
  if (fd < 0 || ::fstat(fd, &status) != 0) fail(path);
  const auto size = static_cast<std::size_t>(status.st_size);
  void* const bytes = ::mmap(nullptr, size, PROT_READ, MAP_SHARED | MAP_POPULATE, fd, 0);
  if (bytes == MAP_FAILED) fail(path);
  ::close(fd);
  return {static_cast<const char*>(bytes), size / kPacket * kPacket};
}

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  return address;
}

int listenOn(std::uint16_t port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
  const int yes = 1;
  ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  sockaddr_in address = loopback(port);
  if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || ::listen(fd, SOMAXCONN) != 0) {
    fail("listen");
  }
  socklen_t length = sizeof address;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  std::printf("listening on 127.0.0.1:%u\n", ntohs(address.sin_port));
  std::fflush(stdout);
  return fd;
}

/// One reader.
struct Stream {
  int fd;
  Clock::time_point start;
  /// Where it began in the file, and what is sent, in bytes.
  std::size_t begin;
  std::size_t sent = 0;
};

class Source {
 public:
  Source(std::span<const char> file, double bytesPerSecond) : file_(file), bytesPerSecond_(bytesPerSecond) {}

  void add(int fd) {
    const auto place = static_cast<double>(next_++ % kPlaces) * std::chrono::duration<double>(kDistance).count();
    const auto begin = std::min(static_cast<std::size_t>(place * bytesPerSecond_) / kPacket * kPacket, file_.size());
    streams_.push_back({.fd = fd, .start = Clock::now(), .begin = begin});
  }

  /// Sends what is due. `unit` is what one call of send() takes at most, 0 for any amount.
  void tick(std::size_t unit) {
    const auto now = Clock::now();
    std::erase_if(streams_, [&](Stream& stream) {
      const double seconds = std::chrono::duration<double>(now - stream.start).count();
      const auto due = static_cast<std::size_t>(seconds * bytesPerSecond_) / kPacket * kPacket;
      const std::size_t end = std::min(file_.size() - stream.begin, due);
      while (stream.sent < end) {
        const std::size_t count = unit == 0 ? end - stream.sent : std::min(unit, end - stream.sent);
        const auto done = ::send(stream.fd, file_.data() + stream.begin + stream.sent, count, MSG_NOSIGNAL);
        if (done < 0 && (errno == EAGAIN || errno == ECONNREFUSED)) break;
        if (done < 0) return close(stream);
        stream.sent += static_cast<std::size_t>(done);
        total_ += static_cast<std::size_t>(done);
      }
      behind_ = std::max(behind_, end - stream.sent);
      return stream.begin + stream.sent == file_.size() && close(stream);
    });
  }

  bool isEmpty() const { return streams_.empty(); }
  void report() const {
    std::fprintf(stderr, "live_source: %zu readers at the end, %llu bytes sent, at most %zu bytes late\n",
                 streams_.size(), static_cast<unsigned long long>(total_), behind_);
  }

 private:
  static bool close(const Stream& stream) {
    ::close(stream.fd);
    return true;
  }

  std::span<const char> file_;
  double bytesPerSecond_;
  std::vector<Stream> streams_;
  std::size_t next_ = 0;
  std::uint64_t total_ = 0;
  std::size_t behind_ = 0;
};

volatile sig_atomic_t stopped = 0;

template <typename Number>
Number number(const char* text) {
  Number value = 0;
  const std::string_view digits(text);
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (result.ec != std::errc() || result.ptr != digits.data() + digits.size()) {
    std::fprintf(stderr, "live_source: '%s' is no number\n", text);
    std::exit(2);
  }
  return value;
}

}  // namespace

/// `live_source FILE BITS_PER_SECOND tcp PORT` serves every connection, and says the port if that is 0;
/// `live_source FILE BITS_PER_SECOND udp PORT COUNT` sends to COUNT ports from PORT on. Ends with SIGTERM, or with UDP
/// at the end of the file.
int main(int argc, char** argv) {
  if (argc < 5) {
    std::fprintf(stderr, "usage: live_source FILE BITS_PER_SECOND tcp PORT | udp PORT COUNT\n");
    return 2;
  }
  const auto stop = [](int) { stopped = 1; };
  ::signal(SIGTERM, stop);
  ::signal(SIGINT, stop);
  constexpr double kBitsPerByte = 8;
  Source source(mapFile(argv[1]), static_cast<double>(number<std::uint64_t>(argv[2])) / kBitsPerByte);
  const auto port = number<std::uint16_t>(argv[4]);
  const bool isUdp = std::string_view(argv[3]) == "udp" && argc > 5;
  int listener = -1;
  if (!isUdp) listener = listenOn(port);
  for (std::uint16_t i = 0; isUdp && i < number<std::uint16_t>(argv[5]); ++i) {
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    const sockaddr_in address = loopback(static_cast<std::uint16_t>(port + i));
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) fail("connect");
    source.add(fd);
  }
  auto next = Clock::now();
  while (stopped == 0 && !(isUdp && source.isEmpty())) {
    for (int fd = -1; listener >= 0 && (fd = ::accept4(listener, nullptr, nullptr, SOCK_NONBLOCK)) >= 0;)
      source.add(fd);
    source.tick(isUdp ? kDatagram : 0);
    std::this_thread::sleep_until(next += kTick);
  }
  source.report();
}
