#include "host/serve/recordingName.h"

#include <gtest/gtest.h>

namespace host::serve {
namespace {

TEST(RecordingName, IsTheTimeOfItsBegin) {
  const struct {
    const char* text;
    std::int64_t beginMs;
    std::uint32_t number;
  } rows[] = {{"19700101T000000.000Z", 0, 1},
              {"20261125T140320.500Z", 1795615400500, 1},
              {"20240229T235959.999Z-2", 1709251199999, 2},
              {"99991231T235959.999Z-4294967295", 253402300799999, 4294967295}};
  for (const auto& row : rows) {
    const RecordingName name{.beginMs = row.beginMs, .number = row.number};
    EXPECT_EQ(recordingNameText(name), row.text);
    EXPECT_EQ(parseRecordingName(row.text), name) << row.text;
  }
}

TEST(RecordingName, IsNoOtherText) {
  for (const char* const text :
       {"", "20261125T140320.500", "20261125t140320.500Z", "20261125T140320,500Z", "20261325T140320.500Z",
        "20260230T140320.500Z", "20261125T240320.500Z", "20261125T140360.500Z", "20261125T140320.500Z-",
        "20261125T140320.500Z-1", "20261125T140320.500Z-02", "20261125T140320.500Z-4294967296",
        "20261125T140320.500Z-2 ", "20261125T140320.500Z/2", "+0261125T140320.500Z", "19691231T235959.999Z"}) {
    EXPECT_FALSE(parseRecordingName(text)) << text;
  }
}

}  // namespace
}  // namespace host::serve
