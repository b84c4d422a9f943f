#include <gtest/gtest.h>

#include "fileset/FileNames.h"

TEST(FileNames, FollowTheLastNameOfTheStreamPath) {
  const std::pair<const char*, const char*> pathsAndStems[] = {
      {"\\var\\rec\\live\\cam1", "\\var\\rec\\live\\cam1\\cam1"},
      {"cam1", "cam1\\"},
      {"/var/rec/cam1", "/var/rec/cam1\\"},
      {"\\rec\\cam1\\", "\\rec\\cam1\\\\"},
      {"", "\\"}};
  for (const auto& [path, stem] : pathsAndStems) EXPECT_EQ(fileset::namesOfStream(path).stem, stem) << path;
  EXPECT_EQ(fileset::FileNames{"b"}.indexName(4294967295U), "bSeg4294967295.k2i");
}
