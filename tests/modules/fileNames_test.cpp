#include "modules/streams/k2r/fileNames.h"

#include <gtest/gtest.h>

namespace qvs::k2r {
namespace {

TEST(FileNames, FollowTheLastNameOfTheStreamPath) {
  const std::pair<const char*, const char*> pathsAndStems[] = {
      {"\\var\\rec\\live\\cam1", "\\var\\rec\\live\\cam1\\cam1"},
      {"cam1", "cam1\\"},
      {"/var/rec/cam1", "/var/rec/cam1\\"},
      {"\\rec\\cam1\\", "\\rec\\cam1\\\\"},
      {"", "\\"}};
  for (const auto& [path, stem] : pathsAndStems) EXPECT_EQ(makeBasePath(path), stem) << path;
  EXPECT_EQ(formatSegmentName("b", 4294967295U, ".k2i"), "bSeg4294967295.k2i");
}

}  // namespace
}  // namespace qvs::k2r
