// Many players of a playlist at once, as cheap as a client can be: one thread, connections that are kept, and contents
// that are dropped in the kernel. For measurements of servers; see docs/performance.md.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "player_load: %s\n", what.c_str());
  std::exit(1);
}

std::size_t number(std::string_view digits) {
  std::size_t value = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (result.ec != std::errc()) fail("'" + std::string(digits) + "' is no number");
  return value;
}

int connectTo(std::uint16_t port) {
  const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) fail("cannot connect");
  return fd;
}

void request(int fd, const std::string& path) {
  const std::string text = "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
  if (::send(fd, text.data(), text.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(text.size())) fail("cannot send");
}

/// The header of an answer with status 200, and the size of its content.
struct Header {
  std::size_t size = 0;
  std::size_t contentSize = 0;
};

/// Nothing is returned as a size of 0 while the header is incomplete.
Header parseHeader(std::string_view text, const std::string& path) {
  const std::size_t end = text.find("\r\n\r\n");
  if (end == std::string_view::npos) return {};
  std::string header(text.substr(0, end + 4));
  std::ranges::transform(header, header.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  constexpr std::string_view kLength = "content-length: ";
  const std::size_t place = header.find(kLength);
  if (!header.starts_with("http/1.1 200") || place == std::string::npos) fail(path + ": " + header);
  return {.size = end + 4, .contentSize = number(std::string_view(header).substr(place + kLength.size()))};
}

/// The paths of a media playlist: its header, and all fragments.
std::vector<std::string> pathsOf(const std::string& playlist, const std::string& path) {
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  std::vector<std::string> paths;
  for (std::size_t begin = 0; begin < playlist.size();) {
    const std::size_t end = std::min(playlist.find('\n', begin), playlist.size());
    const std::string line = playlist.substr(begin, end - begin);
    begin = end + 1;
    constexpr std::string_view kMap = "#EXT-X-MAP:URI=\"";
    if (line.starts_with(kMap)) {
      paths.push_back(folder + line.substr(kMap.size(), line.rfind('"') - kMap.size()));
    } else if (!line.empty() && line[0] != '#') {
      paths.push_back(folder + line);
    }
  }
  if (paths.size() < 2) fail(path + " names no media");
  return paths;
}

std::string fetch(std::uint16_t port, const std::string& path) {
  const int fd = connectTo(port);
  request(fd, path);
  std::string text;
  Header header;
  while (header.size == 0 || text.size() < header.size + header.contentSize) {
    std::array<char, 65536> buffer;
    const auto count = ::recv(fd, buffer.data(), buffer.size(), 0);
    if (count <= 0) fail(path + ": no answer");
    text.append(buffer.data(), static_cast<std::size_t>(count));
    if (header.size == 0) header = parseHeader(text, path);
  }
  ::close(fd);
  return text.substr(header.size);
}

/// What all players have got.
struct Results {
  std::uint64_t bytes = 0;
  std::vector<double> requestMs;
};

/// One connection that fetches one path after the other.
class Player {
 public:
  Player(std::uint16_t port, const std::vector<std::string>& paths, std::size_t first, std::size_t rounds,
         Results& results)
      : fd_(connectTo(port)), paths_(paths), next_(first), left_(paths.size() * rounds), results_(results) {
    ::fcntl(fd_, F_SETFL, O_NONBLOCK);
    ask();
  }
  ~Player() { ::close(fd_); }
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;

  int fd() const { return fd_; }
  /// Takes what has come. Returns false when it has everything.
  bool take() {
    while (true) {
      const auto count = rest_ == 0 ? takeHeader() : takeContent();
      if (count < 0 && errno == EAGAIN) return true;
      if (count <= 0) fail(path() + ": the connection was closed");
      if (header_.empty()) {
        rest_ -= static_cast<std::size_t>(count);
        results_.bytes += static_cast<std::uint64_t>(count);
      }
      if (rest_ == 0 && header_.empty() && !finish()) return false;
    }
  }

 private:
  const std::string& path() const { return paths_[next_ % paths_.size()]; }
  void ask() {
    asked_ = Clock::now();
    header_.clear();
    request(fd_, path());
  }
  /// Reads into `header_`, which is empty again when the header is complete.
  ssize_t takeHeader() {
    std::array<char, 512> buffer;
    const auto count = ::recv(fd_, buffer.data(), buffer.size(), 0);
    if (count <= 0) return count;
    header_.append(buffer.data(), static_cast<std::size_t>(count));
    const Header parsed = parseHeader(header_, path());
    if (parsed.size == 0) return count;
    // The caller counts the content that came with the header.
    rest_ = parsed.contentSize;
    const std::size_t content = header_.size() - parsed.size;
    header_.clear();
    if (content > rest_) fail(path() + ": more than was asked for");
    if (content != 0) return static_cast<ssize_t>(content);
    return takeContent();
  }
  ssize_t takeContent() { return ::recv(fd_, nullptr, rest_, MSG_TRUNC); }
  bool finish() {
    results_.requestMs.push_back(std::chrono::duration<double, std::milli>(Clock::now() - asked_).count());
    ++next_;
    if (--left_ == 0) return false;
    ask();
    return true;
  }

  int fd_;
  const std::vector<std::string>& paths_;
  std::size_t next_;
  std::size_t left_;
  Results& results_;
  Clock::time_point asked_;
  std::string header_;
  std::size_t rest_ = 0;
};

void play(std::vector<std::unique_ptr<Player>>& players) {
  const int poll = ::epoll_create1(0);
  for (const auto& player : players) {
    epoll_event event = {.events = EPOLLIN, .data = {.ptr = player.get()}};
    ::epoll_ctl(poll, EPOLL_CTL_ADD, player->fd(), &event);
  }
  for (std::size_t left = players.size(); left != 0;) {
    std::array<epoll_event, 64> events;
    const int count = ::epoll_wait(poll, events.data(), static_cast<int>(events.size()), -1);
    for (int i = 0; i < count; ++i) {
      auto& player = *static_cast<Player*>(events[static_cast<std::size_t>(i)].data.ptr);
      if (player.take()) continue;
      ::epoll_ctl(poll, EPOLL_CTL_DEL, player.fd(), nullptr);
      --left;
    }
  }
  ::close(poll);
}

/// Players that ask for a fragment each and never read.
void addStalled(std::uint16_t port, const std::vector<std::string>& paths, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) request(connectTo(port), paths[1 + i % (paths.size() - 1)]);
}

double percentile(std::vector<double>& values, double share) {
  const auto index = std::min(static_cast<std::size_t>(static_cast<double>(values.size()) * share), values.size() - 1);
  std::ranges::nth_element(values, values.begin() + static_cast<std::ptrdiff_t>(index));
  return values[index];
}

}  // namespace

/// `player_load PORT PATH PLAYERS ROUNDS [STALLED]`: as many players fetch everything that the playlist names, so many
/// times; beside them, others ask for a fragment and never read. Prints JSON.
int main(int argc, char** argv) {
  if (argc < 5) fail("usage: player_load PORT PATH PLAYERS ROUNDS [STALLED]");
  const auto port = static_cast<std::uint16_t>(number(argv[1]));
  const std::vector<std::string> paths = pathsOf(fetch(port, argv[2]), argv[2]);
  addStalled(port, paths, argc > 5 ? number(argv[5]) : 0);
  Results results;
  const auto begin = Clock::now();
  std::vector<std::unique_ptr<Player>> players;
  for (std::size_t i = 0; i < number(argv[3]); ++i) {
    // Each begins at another place, as viewers do.
    players.push_back(
        std::make_unique<Player>(port, paths, i * paths.size() / number(argv[3]), number(argv[4]), results));
  }
  play(players);
  const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  const double cpu = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                     static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
  std::printf(
      "{\"bytes\": %llu, \"requests\": %zu, \"seconds\": %.3f, \"client_cpu\": %.3f, \"median_ms\": %.2f, "
      "\"p99_ms\": %.2f, \"worst_ms\": %.2f}\n",
      static_cast<unsigned long long>(results.bytes), results.requestMs.size(), seconds, cpu,
      percentile(results.requestMs, 0.5), percentile(results.requestMs, 0.99), percentile(results.requestMs, 1));
}
