#include "host/OutputDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include "host/errors.h"
#include "tests/support/TempDirectory.h"
#include "tests/support/TestHost.h"

namespace host {
namespace {

class OutputDirectoryTest : public testing::Test {
 protected:
  OutputDirectoryTest() : root_(std::filesystem::canonical(directory_.path())) {}

  void put(const std::string& name, const std::string& content = "x") {
    std::filesystem::create_directories((root_ / name).parent_path());
    test::writeWholeFile(root_ / name, content);
  }
  OutputDirectory place(const std::string& name) const { return OutputDirectory((root_ / name).string()); }

  test::TempDirectory directory_;
  std::filesystem::path root_;
};

TEST_F(OutputDirectoryTest, MakesAnAbsoluteModulePathWhereThereCanBeOne) {
  std::filesystem::create_directories(root_ / "rec");
  std::filesystem::create_directory_symlink(root_ / "rec", root_ / "latest");
  for (const char* const given : {"rec/cam1", "rec/cam1/", "rec/cam1//", "rec/./x/../cam1", "latest/cam1"}) {
    EXPECT_EQ(place(given).modulePath(), test::modulePath(root_ / "rec/cam1")) << given;
    EXPECT_EQ(place(given).stem(), "cam1") << given;
  }
  EXPECT_EQ(OutputDirectory("cam1").native(), (std::filesystem::current_path() / "cam1").string());
  for (const char* const given : {"", "/", "//", "/..", "a\\b", "c\\d/cam1"}) {
    EXPECT_THROW(OutputDirectory{given}, UsageError) << given;
  }
}

TEST_F(OutputDirectoryTest, ChecksWhatIsThere) {
  put("recording/recording.bootstrap");
  put("recording/recordingSeg1.k2r");
  put("started/started.control");
  put("annotated/annotated.bootstrap");
  put("annotated/notes.txt");
  put("other/notes.txt");
  put("file");
  std::filesystem::create_directory(root_ / "empty");
  const struct {
    const char* name;
    bool fresh, append, overwrite;
  } rows[] = {{"missing", true, true, true},  {"empty", true, true, true},        {"recording", false, true, true},
              {"started", false, true, true}, {"annotated", false, true, false},  {"other", false, false, false},
              {"file", false, false, false},  {"file/below", false, false, false}};
  const auto allows = [&](const char* name, OpenMode mode) {
    try {
      place(name).require(mode);
      return true;
    } catch (const CommandError&) {
      return false;
    }
  };
  for (const auto& row : rows) {
    EXPECT_EQ(allows(row.name, OpenMode::kNew), row.fresh) << row.name;
    EXPECT_EQ(allows(row.name, OpenMode::kAppend), row.append) << row.name;
    EXPECT_EQ(allows(row.name, OpenMode::kOverwrite), row.overwrite) << row.name;
  }
}

}  // namespace
}  // namespace host
