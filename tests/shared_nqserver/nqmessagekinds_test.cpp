#include "shared_nqserver/nqmessagekinds.h"

#include <gtest/gtest.h>

namespace qvs {
namespace {

TEST(MessageNames, StandAtTheirValues) {
  const struct {
    std::string_view (*nameOf)(std::uint32_t);
    std::uint32_t value;
    const char* name;
  } rows[] = {
      {kindName, 3, ""},
      {kindName, 4, "kMsgUserCtrl"},
      {kindName, 7, "kMsgVirtualUserControl"},
      {kindName, 15, "kMsgDataEx "},
      {kindName, 19, "kMsgContainer "},
      {kindName, 23, "kMsgPresent"},
      {kindName, 24, ""},
      {kindName, 72, ""},
      {controlName, 0, "kMsgStreamBegin"},
      {controlName, 23, "kMsgDisconnect"},
      {controlName, 33, "kMsgDRMNotify"},
      {controlName, 41, "kMsgRtmfpSetKeepalives"},
      {controlName, 42, ""},
      {audioCodecName, 0, "kSndCompressNone"},
      {audioCodecName, 0xA0, "kSndCompressAAC"},
      {audioCodecName, 0xB0, "kSndCompressSpeex"},
      {audioCodecName, 0xC0, ""},
      {audioCodecName, 0xA1, ""},
      {audioFormatName, 1, "kSnd5K8Stereo"},
      {audioFormatName, 15, "kSnd44K16Stereo"},
      {videoCodecName, 7, "kVideoCodecH264"},
      {videoCodecName, 8, ""},
  };
  for (const auto& row : rows) EXPECT_EQ(row.nameOf(row.value), row.name) << row.value;
}

}  // namespace
}  // namespace qvs
