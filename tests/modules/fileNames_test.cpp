#include "modules/streams/k2r/fileNames.h"

#include <gtest/gtest.h>

namespace qvs::k2r {
namespace {

TEST(FileNames, FollowTheLastNameOfTheStreamPath) {
  const struct {
    const char* path;
    const char* basePath;
  } rows[] = {{"\\var\\rec\\live\\cam1", "\\var\\rec\\live\\cam1\\cam1"},
              {"cam1", "cam1\\"},
              {"/var/rec/cam1", "/var/rec/cam1\\"},
              {"\\rec\\cam1\\", "\\rec\\cam1\\\\"},
              {"", "\\"}};
  for (const auto& row : rows) EXPECT_EQ(makeBasePath(row.path), row.basePath) << row.path;
}

TEST(FileNames, NumberSegmentsWithoutPadding) {
  EXPECT_EQ(formatSegmentName("\\rec\\cam1\\cam1", 12, ".k2r"), "\\rec\\cam1\\cam1Seg12.k2r");
  EXPECT_EQ(formatSegmentName("b", 4294967295U, ".k2i"), "bSeg4294967295.k2i");
}

}  // namespace
}  // namespace qvs::k2r
