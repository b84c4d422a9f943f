#include "host/serve/systemd/ServiceManager.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>

#include "tests/support/TempDirectory.h"

namespace host::serve {
namespace {

using namespace std::chrono_literals;

/// Variables of the environment, for one test.
class Environment {
 public:
  explicit Environment(const std::map<std::string, std::string>& variables) {
    clear();
    for (const auto& [name, value] : variables) ::setenv(name.c_str(), value.c_str(), 1);
  }
  ~Environment() { clear(); }

 private:
  static void clear() {
    for (const char* const name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) ::unsetenv(name);
  }
};

/// The manager's end.
class Receiver {
 public:
  explicit Receiver(const std::string& name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::ranges::copy(name, address.sun_path);
    if (name[0] == '@') address.sun_path[0] = '\0';
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    if (::bind(fd_, reinterpret_cast<const sockaddr*>(&address), size) != 0) throw std::runtime_error("bind " + name);
  }
  ~Receiver() { ::close(fd_); }
  /// The oldest datagram; empty if there is none.
  std::string next() const {
    std::array<char, 1000> buffer{};
    const ssize_t size = ::recv(fd_, buffer.data(), buffer.size(), MSG_DONTWAIT);
    return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
  }

 private:
  int fd_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

TEST(ServiceManager, SendsEachStateInOneDatagram) {
  const test::TempDirectory directory;
  for (const std::string& name : {directory.file("notify"), "@k2r-test-" + std::to_string(::getpid())}) {
    const Receiver receiver(name);
    const Environment environment({{"NOTIFY_SOCKET", name}});
    const ServiceManager manager;
    manager.ready();
    manager.reloading();
    manager.watchdog();
    manager.stopping();
    EXPECT_EQ(receiver.next(), "READY=1") << name;
    EXPECT_THAT(receiver.next(), testing::MatchesRegex("RELOADING=1\nMONOTONIC_USEC=[0-9]+"));
    EXPECT_EQ(receiver.next(), "WATCHDOG=1");
    EXPECT_EQ(receiver.next(), "STOPPING=1");
    EXPECT_EQ(receiver.next(), "");
    // Neither a full queue nor a manager that has gone stops the process.
    for (int i = 0; i < 1000; ++i) manager.watchdog();
  }
}

TEST(ServiceManager, KnowsHowOftenToReport) {
  const test::TempDirectory directory;
  const std::string name = directory.file("notify");
  const Receiver receiver(name);
  const std::string self = std::to_string(::getpid());
  using Variables = std::map<std::string, std::string>;
  const std::pair<Variables, std::optional<std::chrono::microseconds>> rows[] = {
      {{{"NOTIFY_SOCKET", name}}, std::nullopt},
      {{{"NOTIFY_SOCKET", name}, {"WATCHDOG_USEC", "30000000"}}, 15s},
      {{{"NOTIFY_SOCKET", name}, {"WATCHDOG_USEC", "30000000"}, {"WATCHDOG_PID", self}}, 15s},
      {{{"NOTIFY_SOCKET", name}, {"WATCHDOG_USEC", "30000000"}, {"WATCHDOG_PID", "1"}}, std::nullopt},
      {{{"NOTIFY_SOCKET", name}, {"WATCHDOG_USEC", "soon"}}, std::nullopt},
      {{{"WATCHDOG_USEC", "30000000"}}, std::nullopt}};
  for (const auto& [variables, pause] : rows) {
    const Environment environment(variables);
    EXPECT_EQ(ServiceManager().watchdogPause(), pause);
  }
}

TEST(ServiceManager, DoesNothingWithoutAManager) {
  const test::TempDirectory directory;
  for (const std::string& name :
       {std::string(), std::string("relative"), directory.file("nobody"), std::string(200, '/')}) {
    const Environment environment({{"NOTIFY_SOCKET", name}});
    const ServiceManager manager;
    manager.ready();
  }
}

}  // namespace
}  // namespace host::serve
