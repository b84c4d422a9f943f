#include "host/input/annexB.h"

#include <gtest/gtest.h>

#include <string>

#include "host/input/avcConfig.h"
#include "tests/support/hex.h"

namespace host {
namespace {

std::string lengthPrefixed(const char* image) {
  const auto stream = test::fromHex(image);
  qvs::util::ByteWriter out;
  writeLengthPrefixed(out, stream);
  return test::hex(out.bytes());
}

TEST(AnnexB, IsRewrittenWithLengths) {
  const struct {
    const char *why, *stream, *result;
  } rows[] = {{"long and short start codes", "00000001 0910 000001 6588", "00000002 09100000 00026588"},
              {"zeros behind a unit", "000001 6588 0000 00000001 41", "00000002 65880000 000141"},
              {"zeros inside a unit", "000001 65 0000 03 01 88", "00000006 65000003 0188"},
              {"bytes ahead of the first start code", "ff 00 000001 65", "00000001 65"},
              {"a start code at the end", "000001 65 000001", "00000001 65"},
              {"units without a byte", "000001 000001 0000000001 65", "00000001 65"},
              {"no start code", "0000 65 88 01", ""},
              {"nothing", "", ""},
              {"zeros only", "00000000", ""},
              {"a lone one", "01", ""}};
  for (const auto& row : rows) EXPECT_EQ(lengthPrefixed(row.stream), row.result) << row.why;
}

std::string configuration(const std::string& image) {
  const auto stream = test::fromHex(image);
  ParameterSets sets;
  sets.collect(splitAnnexB(stream));
  return sets.complete() ? test::hex(sets.configurationRecord()) : "(incomplete)";
}

TEST(ParameterSets, MakeAConfigurationRecord) {
  const struct {
    const char *why, *stream, *result;
  } rows[] = {
      {"baseline, 4 bytes and no more", "000001 6742c01eda 000001 68ce3c80 000001 6588",
       "0142c01e ffe10005 6742c01e da010004 68ce3c80"},
      {"a repeated set counts once", "000001 6742c01eda 000001 68ce3c 000001 6742c01eda 000001 68ce3c",
       "0142c01e ffe10005 6742c01e da010003 68ce3c"},
      {"two picture sets", "000001 6742c01eda 000001 68ce3c 000001 68ce3d",
       "0142c01e ffe10005 6742c01e da020003 68ce3c00 0368ce3d"},
      // set 0, chroma format 1, 8 bits: codes 1, 010, 1, 1
      {"high profile", "000001 6764001eac 000001 68ce3c", "0164001e ffe10005 6764001e ac010003 68ce3cfd f8f800"},
      // set 0, chroma format 2, 10 bits: codes 1, 011, 011, 011
      {"high 4:2:2", "000001 677a0028b6c0 000001 68ce3c", "017a0028 ffe10006 677a0028 b6c00100 0368ce3c fefafa00"},
      // set 0, chroma format 3, colours separate, 8 bits: codes 1, 00100, 1, 1, 1
      {"high 4:4:4", "000001 67f4001e93c0 000001 68ce3c", "01f4001e ffe10006 67f4001e 93c00100 0368ce3c fff8f800"},
      {"high profile that breaks off", "000001 6764001e 000001 68ce3c",
       "0164001e ffe10004 6764001e 01000368 ce3cfdf8 f800"},
      {"no picture set", "000001 6742c01eda", "(incomplete)"},
      {"a sequence set too short for its level", "000001 6742c0 000001 68ce3c", "(incomplete)"}};
  for (const auto& row : rows) EXPECT_EQ(configuration(row.stream), row.result) << row.why;
}

TEST(ParameterSets, StayWithinTheirCounts) {
  std::string stream = "000001 68ce3c";
  for (int i = 0; i < 40; ++i) stream += "000001 6742c0" + std::to_string(10 + i) + "da";
  EXPECT_EQ(configuration(stream).substr(9, 4), "ffff") << "31 sets fit";
}

}  // namespace
}  // namespace host
