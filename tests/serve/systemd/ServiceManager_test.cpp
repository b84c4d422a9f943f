#include "host/serve/systemd/ServiceManager.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <map>

#include "tests/support/TempDirectory.h"

namespace host::serve {
namespace {

using namespace std::chrono_literals;

/// The manager's end of the socket, and the variables of the environment.
class ServiceManagerTest : public testing::Test {
 protected:
  ~ServiceManagerTest() override {
    set({});
    ::close(fd_);
  }
  static void set(const std::map<std::string, std::string>& variables) {
    for (const char* const name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) {
      const auto found = variables.find(name);
      found == variables.end() ? ::unsetenv(name) : ::setenv(name, found->second.c_str(), 1);
    }
  }
  void listen(const std::string& name) {
    ::close(fd_);
    fd_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::ranges::copy(name, address.sun_path);
    if (name[0] == '@') address.sun_path[0] = '\0';
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    ASSERT_EQ(::bind(fd_, reinterpret_cast<const sockaddr*>(&address), size), 0) << name;
  }
  /// The oldest datagram; empty if there is none.
  std::string next() const {
    std::string text(1000, '\0');
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(::recv(fd_, text.data(), text.size(), MSG_DONTWAIT), 0)));
    return text;
  }

  const test::TempDirectory directory_;
  int fd_ = -1;
};

TEST_F(ServiceManagerTest, SendsEachStateInOneDatagram) {
  for (const std::string& name : {directory_.file("notify"), "@k2r-test-" + std::to_string(::getpid())}) {
    listen(name);
    set({{"NOTIFY_SOCKET", name}});
    const ServiceManager manager;
    manager.ready();
    manager.reloading();
    manager.watchdog();
    manager.stopping();
    EXPECT_EQ(next(), "READY=1") << name;
    EXPECT_THAT(next(), testing::MatchesRegex("RELOADING=1\nMONOTONIC_USEC=[0-9]+"));
    EXPECT_EQ(next(), "WATCHDOG=1");
    EXPECT_EQ(next(), "STOPPING=1");
    EXPECT_EQ(next(), "");
    // Neither a full queue nor a manager that has gone stops the process.
    for (int i = 0; i < 1000; ++i) manager.watchdog();
  }
}

TEST_F(ServiceManagerTest, KnowsHowOftenToReport) {
  const std::string name = directory_.file("notify");
  listen(name);
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
    set(variables);
    EXPECT_EQ(ServiceManager().watchdogPause(), pause);
  }
}

TEST_F(ServiceManagerTest, DoesNothingWithoutAManager) {
  for (const std::string& name :
       {std::string(), std::string("relative"), directory_.file("nobody"), std::string(200, '/')}) {
    set({{"NOTIFY_SOCKET", name}});
    const ServiceManager manager;
    manager.ready();
  }
}

}  // namespace
}  // namespace host::serve
