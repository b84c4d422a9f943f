#include "host/input/TagStream.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <thread>

#include "host/errors.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/hex.h"

namespace host {
namespace {

constexpr const char* kHeader = "4d5447 01 05 00000009 00000000";

class TagStreamTest : public testing::Test {
 protected:
  /// Puts the bytes of a hex text into a file.
  std::string file(const std::string& image) {
    test::writeWholeFile(directory_.file("in.mtg"), test::textOf(test::fromHex(image)));
    return directory_.file("in.mtg");
  }
  TagStream open(const std::string& path) { return TagStream(std::make_unique<FileInput>(path, stop_)); }
  test::TempDirectory directory_;
  StopSignal stop_;
};

TEST_F(TagStreamTest, GivesEachTagUnchanged) {
  TagStream stream = open(file(std::string(kHeader) +
                               "12 000002 000000 00 000000  0305      0000000d"
                               "29 000003 030405 02 000001  170100    00000000"  // wrong back pointer, a stream id
                               "16 000000 000001 00 000000            ffffffff"  // a type that no recording takes
                               "88 000001 ffffff ff 000000  af        0000000c"
                               "09 000001 000000 00 000000  27        0000000c"));  // back in time
  std::string text;
  while (const auto message = stream.next()) {
    text +=
        std::to_string(message->type) + ' ' + std::to_string(message->timeMs) + ' ' + test::hex(message->data) + ';';
  }
  EXPECT_EQ(text, "18 0 0305;41 33752069 170100;22 1 ;136 4294967295 af;9 0 27;");
}

TEST_F(TagStreamTest, IsRecognisedByItsContentAndRefusedWithAReason) {
  const std::string noStream = " is not a tag stream: MTG and version 1 expected at its start",
                    badHeader = " is not a tag stream: a header of at least 9 bytes expected";
  const std::tuple<const char*, bool, std::string> rows[] = {
      {kHeader, true, ""},
      {"4d5447 01 00 00000009", true, ""},                  // no flags
      {"464c56 01 05 00000009 00000000", false, noStream},  // no other signature of three letters
      {"4d5447 02 05 00000009 00000000", true, noStream},
      {"4d5447 01 05 00000008 00000000", true, badHeader},
      {"", false, noStream}};
  for (const auto& [image, looks, reason] : rows) {
    const std::string path = file(image);
    EXPECT_EQ(isTagStream(path), looks) << image;
    const auto read = [&] { open(path).next(); };
    if (reason.empty()) read();
    EXPECT_TRUE(reason.empty() || testing::Value(read, testing::ThrowsMessage<InputError>(path + reason))) << image;
  }
}

TEST_F(TagStreamTest, StopEndsAWaitForAPipe) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const auto image = test::fromHex(std::string(kHeader) + "08 000001 000005 00 000000 af 0000000c 09 0000");
  ASSERT_EQ(::write(ends[1], image.data(), image.size()), static_cast<ssize_t>(image.size()));
  TagStream stream = open("/proc/self/fd/" + std::to_string(ends[0]));
  EXPECT_TRUE(stream.next());
  std::thread other([&] { stop_.request(); });
  EXPECT_FALSE(stream.next());
  EXPECT_FALSE(stream.next());
  other.join();
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST_F(TagStreamTest, StopEndsAFileInTheMiddleOfATag) {
  constexpr std::size_t kLarge = 0x19000;
  std::string image = test::textOf(test::fromHex(kHeader));
  for (int i = 0; i < 8; ++i) {
    image += test::textOf(test::fromHex("09 019000 000000 00 000000"));
    image += std::string(kLarge, 'x') + test::textOf(test::fromHex("0001900b"));
  }
  const std::string path = directory_.file("in.mtg");
  test::writeWholeFile(path, image);
  TagStream stream = open(path);
  EXPECT_TRUE(stream.next());
  stop_.request();
  int left = 0;
  while (stream.next()) ++left;
  EXPECT_LT(left, 7);
}

}  // namespace
}  // namespace host
