#include "host/input/TagStream.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <vector>

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
    const auto bytes = test::fromHex(image);
    test::writeWholeFile(directory_.file("in.mtg"), {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    return directory_.file("in.mtg");
  }
  /// Every message as "<type> <time> <data in hex>;".
  std::string messages(const std::string& path) {
    TagStream stream(std::make_unique<FileReader>(path, stop_));
    std::string text;
    while (const auto message = stream.next()) {
      text +=
          std::to_string(message->type) + ' ' + std::to_string(message->timeMs) + ' ' + test::hex(message->data) + ';';
    }
    return text;
  }

  test::TempDirectory directory_;
  StopSignal stop_;
};

TEST_F(TagStreamTest, GivesEachTagAsItStands) {
  const std::string image = std::string(kHeader) +
                            "12 000002 000000 00 000000  0305      0000000d"
                            "29 000003 030405 02 000001  170100    00000000"  // wrong back pointer, a stream id
                            "16 000000 000001 00 000000            ffffffff"  // a type that no recording takes
                            "08 000001 ffffff ff 000000  af        0000000c"
                            "09 000001 000000 00 000000  27        0000000c";  // back in time
  EXPECT_EQ(messages(file(image)), "18 0 0305;41 33752069 170100;22 1 ;8 4294967295 af;9 0 27;");
}

TEST_F(TagStreamTest, EndsWhereATagIsCutShort) {
  const std::string whole = "08 000001 000005 00 000000 af 0000000c";
  const struct {
    const char *why, *tail, *extra;
  } rows[] = {{"nothing behind", "", ""},
              {"no back pointer", "09 000001 000006 00 000000 17", "9 6 17;"},
              {"half a header", "09 000001 0000", ""},
              {"no data", "09 000001 000006 00 000000", ""},
              {"half the data", "09 000002 000006 00 000000 17", ""},
              {"more data than any file has", "09 ffffff 000006 00 000000 1700", ""}};
  for (const auto& row : rows) {
    EXPECT_EQ(messages(file(kHeader + whole + row.tail)), std::string("8 5 af;") + row.extra) << row.why;
  }
}

TEST_F(TagStreamTest, GoesByTheHeaderSize) {
  const std::string tag = "08 000001 000005 00 000000 af 0000000c";
  EXPECT_EQ(messages(file("4d5447 01 05 0000000c aabbcc 00000000" + tag)), "8 5 af;");
  EXPECT_EQ(messages(file("4d5447 01 05 ffffffff 00000000" + tag)), "") << "a header larger than the file";
  EXPECT_EQ(messages(file("4d5447 01 05 00000009")), "") << "a header and nothing else";
}

TEST_F(TagStreamTest, IsToldByItsContent) {
  const struct {
    const char* image;
    bool looks, opens;
  } rows[] = {{kHeader, true, true},
              {"61625a 01 00 00000009", true, true},  // any letters, no flags
              {"4d5447 02 05 00000009 00000000", false, false},
              {"4d5431 01 05 00000009 00000000", false, false},
              {"4d547b 01 05 00000009 00000000", false, false},
              {"000000 01 05 00000009 00000000", false, false},
              {"4d5447 01 05 00000008 00000000", true, false},  // a header that ends within itself
              {"4d5447 01 05 000000", true, false},
              {"", false, false}};
  for (const auto& row : rows) {
    const std::string path = file(row.image);
    EXPECT_EQ(isTagStream(path), row.looks) << row.image;
    if (row.opens) {
      EXPECT_NO_THROW(messages(path)) << row.image;
    } else {
      EXPECT_THROW(messages(path), InputError) << row.image;
    }
  }
  EXPECT_FALSE(isTagStream(directory_.file("missing")));
  EXPECT_FALSE(isTagStream(directory_.path().string()));
}

TEST_F(TagStreamTest, FailsWhereTheFileCannotBeRead) {
  EXPECT_THROW(FileReader(directory_.file("missing"), stop_), InputError);
  EXPECT_THROW(messages(directory_.path().string()), InputError);
}

TEST_F(TagStreamTest, KeepsLargeTagsWhole) {
  std::string content = "MTG\x01\x05";
  content.append({0, 0, 0, 9, 0, 0, 0, 0});
  std::string data(300000, '\0');
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>(i * i >> 7);
  content.append({9, 0x04, static_cast<char>(0x93), static_cast<char>(0xE0), 0, 0, 7, 0, 0, 0, 0});
  content += data + "1234";
  content.append({8, 0, 0, 0, 0, 0, 8, 0, 0, 0, 0});
  test::writeWholeFile(directory_.file("in.mtg"), content);
  TagStream stream(std::make_unique<FileReader>(directory_.file("in.mtg"), stop_));
  const auto large = stream.next();
  ASSERT_TRUE(large);
  EXPECT_TRUE(std::string(reinterpret_cast<const char*>(large->data.data()), large->data.size()) == data);
  const auto small = stream.next();
  ASSERT_TRUE(small);
  EXPECT_EQ(small->timeMs, 8u);
}

TEST_F(TagStreamTest, SurvivesWhateverBytes) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    std::string content = "MTG\x01\x05";
    content.append({0, 0, 0, 9});
    const std::size_t size = random() % 400;
    for (std::size_t i = 0; i < size; ++i) content += static_cast<char>(random() % 3 == 0 ? random() : 0);
    test::writeWholeFile(directory_.file("in.mtg"), content);
    TagStream stream(std::make_unique<FileReader>(directory_.file("in.mtg"), stop_));
    std::size_t total = 0;
    while (const auto message = stream.next()) total += message->data.size() + 11;
    EXPECT_LE(total, content.size()) << "round " << round;
  }
}

TEST_F(TagStreamTest, StopEndsAWaitForAPipe) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const auto image = test::fromHex(std::string(kHeader) + "08 000001 000005 00 000000 af 0000000c 09 0000");
  ASSERT_EQ(::write(ends[1], image.data(), image.size()), static_cast<ssize_t>(image.size()));
  TagStream stream(std::make_unique<FileReader>("/proc/self/fd/" + std::to_string(ends[0]), stop_));
  EXPECT_TRUE(stream.next());
  std::thread other([&] { stop_.request(); });
  EXPECT_FALSE(stream.next());
  EXPECT_FALSE(stream.next());
  other.join();
  ::close(ends[0]);
  ::close(ends[1]);
}

}  // namespace
}  // namespace host
