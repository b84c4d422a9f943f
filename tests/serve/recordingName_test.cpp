#include "host/serve/recordingName.h"

#include <gtest/gtest.h>

namespace host::serve {
namespace {

TEST(RecordingName, IsTheTimeOfItsBegin) {
  const std::pair<const char*, RecordingName> rows[] = {
      {"19700101T000000.000Z", {.beginMs = 0}},
      {"20261125T140320.500Z", {.beginMs = 1795615400500}},
      {"20240229T235959.999Z-2", {.beginMs = 1709251199999, .number = 2}},
      {"99991231T235959.999Z-4294967295", {.beginMs = 253402300799999, .number = 4294967295}}};
  for (const auto& [text, name] : rows) {
    EXPECT_EQ(recordingNameText(name), text);
    EXPECT_EQ(parseRecordingName(text), name) << text;
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
