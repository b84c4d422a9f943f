#include "host/serve/http/Body.h"

#include <gtest/gtest.h>

#include <system_error>

#include "tests/serve/http/contentOf.h"
#include "tests/support/TempDirectory.h"

namespace {

using namespace host::serve;
using test::contentOf;
using test::fileWith;

struct BodyTest : testing::Test {
  test::TempDirectory directory;
  /// "head" in memory, "345678" from a file, nothing, and "tail" as bytes.
  Body mixed() {
    Body body("head");
    body.add(fileWith(directory.file("f"), "0123456789"), 3, 6);
    body.add(std::string());
    body.add(std::vector<std::byte>(4, std::byte{'t'}));
    return body;
  }
};

TEST_F(BodyTest, IsReadAcrossItsPieces) {
  const Body body = mixed();
  EXPECT_EQ(body.size(), 14u);
  for (const std::size_t step : {1u, 3u, 5u, 64u}) EXPECT_EQ(contentOf(body, step), "head345678tttt") << step;
  EXPECT_EQ(contentOf(Body()), "");
}

TEST_F(BodyTest, EverySliceHasTheBytesAskedFor) {
  const Body body = mixed();
  const std::string all = contentOf(body);
  for (std::size_t from = 0; from <= all.size(); ++from) {
    for (std::size_t count = 0; from + count <= all.size(); ++count) {
      const Body slice = body.slice(from, count);
      EXPECT_EQ(contentOf(slice), all.substr(from, count));
      EXPECT_EQ(contentOf(slice.slice(count / 2, count - count / 2)), all.substr(from + count / 2, count - count / 2));
    }
  }
}

TEST_F(BodyTest, ReportsAFileThatBecameShorter) {
  const Body body = mixed();
  std::filesystem::resize_file(directory.file("f"), 5);
  EXPECT_THROW(contentOf(body), std::system_error);
}

TEST_F(BodyTest, OnlyCachedBytesAreReady) {
  const std::string path = directory.file("f");
  const auto file = fileWith(path, std::string(1 << 20, 'x'));
  std::vector<std::byte> buffer(4096);
  ASSERT_EQ(::fsync(file->get()), 0);
  ASSERT_EQ(::posix_fadvise(file->get(), 0, 0, POSIX_FADV_DONTNEED), 0);
  Body body("head");
  body.add(file, 0, 1 << 20);
  EXPECT_EQ(body.readReady(0, buffer), 4u) << "memory alone";
  EXPECT_EQ(body.readReady(4, buffer), std::nullopt) << "not cached (a file system in memory keeps everything)";
  EXPECT_EQ(body.read(4, buffer), buffer.size());
  EXPECT_EQ(body.readReady(body.size(), buffer), 0u);
}

}  // namespace
