// The index of a segment in one file, and from a size on in two that take turns.

#include <fstream>
#include <random>

#include "modules/streams/k2r/SegmentIndex.h"
#include "platform/os/durableFiles.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"
#include "tests/support/testing.h"

namespace {

using namespace test;

struct IndexOnDisk : testing::Test {
  /// Adds entries, and writes the index as after a fragment. The file is then the whole index.
  void write(std::size_t added) {
    std::uint32_t next = index.entries().empty() ? 1 : index.entries().back().fragment + 1;
    for (; added > 0; --added, ++next) index.add({next * 4000ULL, 1, next, next * 1000ULL, 0});
    ASSERT_TRUE(index.isConsecutive());
    if (!index.exchange(path, temporary)) {
      ASSERT_TRUE(platform::os::writeNewFile(temporary, index.image().bytes()));
      ASSERT_TRUE(platform::os::replaceFile(temporary, path));
      index.wasReplaced();
    }
    ASSERT_EQ(readWholeFile(path), textOf(index.image().bytes()));
  }

  TempDirectory directory;
  std::string path = directory.file("cam1Seg1.k2i"), temporary = directory.file("cam1.k2i.tmp");
  qvs::k2r::SegmentIndex index;
};

TEST_F(IndexOnDisk, IsTheWholeIndexWhateverChanged) {
  std::mt19937 random(20261126);
  write(500);
  for (int i = 0; i < 200; ++i) {
    // Often of the last ones, which only one of the two files has.
    const auto size = static_cast<std::uint32_t>(index.entries().size());
    const auto some = static_cast<std::uint32_t>(i % 2 == 0 ? random() % size : size - random() % 3);
    const std::size_t choice = random() % 20;
    if (choice == 0) index.setPosition(some, 7);
    if (choice == 1) index.cutTo(some);
    if (choice == 2) index.dropSpare(temporary);
    if (choice == 3) std::filesystem::remove(temporary);
    if (choice == 4) writeWholeFile(temporary, "of somebody else");
    ASSERT_NO_FATAL_FAILURE(write(choice < 2 ? 600 : 1 + random() % 3)) << i;
  }
  for (const std::uint32_t jump : {2U, 0U, UINT32_MAX}) {
    index.add({0, 1, index.entries().back().fragment + jump, 0, 0});
    EXPECT_FALSE(index.isConsecutive()) << jump;
    index.cutTo(index.entries().size() - 1);
  }
  index.dropSpare(temporary);
  EXPECT_FALSE(std::filesystem::exists(temporary));
}

TEST_F(IndexOnDisk, GetsOnlyWhatIsNewInItsSecondFile) {
  for (const std::size_t added : {600U, 1U, 1U}) write(added);
  std::fstream(temporary, std::ios::in | std::ios::out | std::ios::binary).seekp(100).put('X');
  index.add({0, 1, 603, 1, 0});
  EXPECT_TRUE(index.exchange(path, temporary));
  std::string expected = textOf(index.image().bytes());
  expected[100] = 'X';
  EXPECT_EQ(readWholeFile(path), expected);
}

TEST_F(IndexOnDisk, StaysTheSameForAReaderWhoHasItOpen) {
  for (const std::size_t added : {600U, 1U, 1U, 1U}) write(added);
  const std::string before = readWholeFile(path);
  std::ifstream reader(path, std::ios::binary);
  for (int i = 0; i < 3; ++i) write(1);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(reader), {}), before);
}

}  // namespace
