// Tracks, sample descriptions, times and dates: what is stored of them, read back, and refused; and what a reader says
// of damage, and where.

#include "platform/container/dates.h"
#include "platform/container/reading/boxes.h"
#include "platform/container/reading/numbers.h"
#include "platform/container/reading/sampleEntry.h"
#include "platform/container/status.h"
#include "tests/platform/container/reading.h"
#include "tests/support/SegmentMaker.h"

namespace krvo::container {
namespace {

using k2m::makeRecord;
using namespace test;

using Bytes = std::vector<std::byte>;

TEST(Rescale, IsExactInWholeNumbers) {
  const std::tuple<std::uint64_t, std::uint32_t, std::uint32_t, std::uint64_t> rows[] = {
      {123, 1000, 1000, 123},
      {1, 1000, 90000, 90},
      {90045, 90000, 1000, 1001},  // half rounds up
      {90044, 90000, 1000, 1000},
      {0xFFFFFFFFFFFFFFFF, 4294967295, 1, 4294967297},
      {4294967294, 4294967295, 4294967294, 4294967293}};
  for (const auto& [value, from, to, result] : rows) EXPECT_EQ(rescale(value, from, to), result) << value;
  EXPECT_THROW(rescale(std::uint64_t{1} << 60, 1, 90000), std::out_of_range);
  constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
  EXPECT_EQ(std::pair(rescale(-40, 1000, 90000), rescale(kLeast, 1, 1)), std::pair(-3600, kLeast));
  EXPECT_THROW(rescale(kLeast, 1, 2), std::out_of_range);
}

K2MDate date(std::uint16_t year, std::uint8_t month, std::uint8_t day, std::uint8_t hour = 0, std::uint8_t minute = 0,
             std::uint8_t second = 0) {
  return {8, day, month, 0, year, hour, minute, second, 0};
}

std::string image(const K2MDate& date) {
  return hex(std::as_bytes(std::span(&date, 1)));
}

TEST(Dates, CountSecondsFrom1904) {
  const std::pair<K2MDate, std::uint64_t> rows[] = {{date(1904, 1, 1), 0},
                                                    {date(1904, 3, 1), 60 * 86400},  // a leap year
                                                    {date(1970, 1, 1), 2082844800},
                                                    {date(2024, 1, 1, 23, 59, 59), 0xE1B7B100 + 86399},
                                                    {date(2040, 2, 6, 6, 28, 16), 0x100000000}};
  for (const auto& [moment, seconds] : rows) {
    EXPECT_EQ(toSeconds(moment), seconds);
    EXPECT_EQ(image(toDate(seconds)), image(moment));
  }
  EXPECT_EQ(toDate(0xFFFFFFFFFFFFFFFF).year, 9999);
}

TEST(Dates, OutOfTheirRangesAreRefused) {
  for (const K2MDate& wrong : {date(1903, 12, 31), date(10000, 1, 1), date(2024, 13, 1), date(2024, 1, 0),
                               date(2024, 1, 32), date(2024, 1, 1, 24)})
    EXPECT_EQ(test::statusOf<StatusError>([&] { toSeconds(wrong); }), kKrvoBadDate) << image(wrong);
}

TEST(SampleEntry, IsWrittenByteForByte) {
  const auto codecHeader = fromHex("63666721");
  const VideoFormat video{.width = 640,
                          .height = 360,
                          .horizontalResolution = 72,
                          .verticalResolution = 72.5F,
                          .frameCount = 1,
                          .depth = 24};
  const std::pair<SampleDescription, const char*> rows[] = {
      {{"avc1"_4cc, video, codecHeader},
       "0000005a 61766331 00000000 00000001 00000000 00000000 00000000 00000000 02800168 00480000 00488000 00000000 "
       "00010000 00000000 00000000 00000000 00000000 00000000 00000000 00000000 00000018 ffff6366 6721"},
      {{"enca"_4cc, AudioFormat{.sampleRate = 5512.5F, .channels = 1, .bitsPerSample = 8}, codecHeader},
       "00000028 656e6361 00000000 00000001 00000000 00000000 00010008 00000000 15888000 63666721"},
      {{"mp4a"_4cc, AudioFormat{.sampleRate = 96000, .channels = 2, .bitsPerSample = 16}, {}},
       "00000024 6d703461 00000000 00000001 00000000 00000000 00020010 00000000 00000000"},
      {{"encr"_4cc, {}, codecHeader}, "00000014 656e6372 00000000 00000001 63666721"}};
  for (const auto& [description, image] : rows) {
    qvs::util::ByteWriter out;
    writeSampleEntry(out, description);
    EXPECT_EQ(hex(out.bytes()), image);
  }
}

/// What a movie of one track says after it went through a file.
Movie written(const K2MDocInfo& document, const K2MTrackInfo& track) {
  MemoryStream stream;
  const k2m::Allocator allocator;
  k2m::K2RWriter writer(stream, document, allocator);
  const auto added = writer.k2mWriter().addTrack(track, makeRecord<K2MEntriesInfo>(), nullptr);
  writer.k2mWriter().addVideoSampleDescriptor(added, makeRecord<K2MVideoDescriptorInfo>(), {});
  writer.startFragment();
  return SegmentReader(stream).movie();
}

TEST(MovieHeader, WidensWhereATimeNeedsIt) {
  auto document = documentInfo();
  document.created.year = 2041;  // behind 32 bits of seconds
  auto track = trackInfo("vide"_4cc);
  track.duration = 1ULL << 40;
  const Movie movie = written(document, track);
  EXPECT_GT(movie.created, 0xFFFFFFFFU);
  EXPECT_EQ(movie.tracks[0]->duration, 1ULL << 40);
}

TEST(MovieHeader, BoundsWhatOnlyDescribesTheDisplay) {
  for (const auto& [given, stored] :
       {std::pair(0.5F, 0.5F), {-1, 0}, {std::numeric_limits<float>::quiet_NaN(), 0}, {1e9F, 65536}}) {
    auto track = trackInfo("vide"_4cc);
    track.width = given;
    track.language[0] = 0;
    const Movie movie = written(documentInfo(), track);
    EXPECT_EQ(movie.tracks[0]->width, stored) << given;
    EXPECT_EQ(movie.tracks[0]->language, (std::array{'u', 'n', 'd'})) << "a language that is not known";
  }
}

TEST(Tracks, AreRefusedWithWhatMeansNothing) {
  SegmentMaker maker;
  maker.addVideoTrack().addAudioTrack();
  auto writer = maker.writer().k2mWriter();
  const std::pair<void (*)(K2MTrackInfo&), std::uint32_t> changes[] = {
      {[](auto& info) { info.timescale = 0; }, kKrvoBadArgument},
      {[](auto& info) { info.flags = 0x1000000; }, kKrvoBadArgument},
      {[](auto& info) { info.handlerType = "hint"_4cc; }, kKrvoBadArgument},
      {[](auto& info) { info.language[1] = 'N'; }, kKrvoBadArgument},
      {[](auto& info) { info.created.year = 1903; }, kKrvoBadDate}};
  for (const auto& [change, status] : changes) {
    auto info = trackInfo("soun"_4cc);
    change(info);
    EXPECT_EQ(statusOf([&] { writer.addTrack(info, makeRecord<K2MEntriesInfo>(), "name"); }), status);
  }
  EXPECT_EQ(writer.tracks().size(), 2U);

  auto audio = makeRecord<K2MAudioDescriptorInfo>();
  audio.channels = 70000;
  const auto describe = [&](const k2m::Track& track) { writer.addAudioSampleDescriptor(track, audio, {}); };
  EXPECT_EQ(statusOf([&] { describe(maker.videoTrack()); }), kKrvoBadArgument) << "the form of another kind";
  EXPECT_EQ(statusOf([&] { describe(maker.audioTrack()); }), kKrvoTooLarge);
}

TEST(Tracks, AreThereBeforeTheFirstFragment) {
  SegmentMaker maker;
  auto writer = maker.writer().k2mWriter();
  EXPECT_EQ(statusOf([&] { maker.start(); }), kKrvoBadArgument) << "no track at all";
  const auto bare = writer.addTrack(trackInfo("soun"_4cc), makeRecord<K2MEntriesInfo>(), "");
  EXPECT_EQ(statusOf([&] { maker.start(); }), kKrvoBadArgument) << "a track with no description";
  EXPECT_TRUE(maker.stream.bytes.empty());
  const auto describe = [&] { writer.addAudioSampleDescriptor(bare, makeRecord<K2MAudioDescriptorInfo>(), {}); };
  describe();
  maker.addHintTrack().start();
  EXPECT_EQ(statusOf(describe), kKrvoBadArgument);
}

/// Video, audio and hints (1 to 3); one fragment of a sequence header, two frames and an audio message.
Bytes oneFragment() {
  SegmentMaker maker;
  maker.addVideoTrack().addAudioTrack().addHintTrack().start();
  maker.begin().sequenceHeader(0).video(0, true, 50, 40).audio(5, 20).video(40, false, 30).start();
  maker.end();
  return maker.stream.bytes;
}

/// The offset of the box with this type, the nth one from 0.
std::size_t find(const Bytes& bytes, std::string_view type, int nth) {
  const auto wanted = qvs::util::asBytes(type);
  auto at = bytes.begin();
  for (;; ++at) {
    at = std::search(at, bytes.end(), wanted.begin(), wanted.end());
    if (at == bytes.end()) throw std::invalid_argument("no such box: " + std::string(type));
    if (nth-- == 0) return static_cast<std::size_t>(at - bytes.begin()) - 4;
  }
}

// Where damage is reported, from the start of the damaged box.
constexpr std::ptrdiff_t kParent = -8;
constexpr std::ptrdiff_t kElsewhere = 1 << 20;

TEST(SegmentReader, NamesThePlaceOfDamage) {
  // In the nth box of a type bytes are replaced from an offset on: where and how that is reported.
  const std::tuple<const char*, int, std::size_t, const char*, std::ptrdiff_t, std::string_view> rows[] = {
      {"ftyp", 0, 4, "66726565", 0, "`ftyp` expected, `free` found"},
      {"mvhd", 0, 4, "66726565", kParent, "`moov`: no `mvhd`"},
      {"mvhd", 0, 20, "00000000", 0, "`mvhd`: a timescale of 0"},
      {"trak", 1, 0, "00000007", kElsewhere, "`moov`: trak: box size 7 with"},
      {"tkhd", 1, 20, "00000001", kElsewhere, "`moov`: a track id given twice"},
      {"mdhd", 0, 20, "00000000", 0, "`mdhd`: a timescale of 0"},
      {"stsd", 0, 12, "00000002", 0, "`stsd`: another number of entries than told"},
      {"mp4a", 0, 16, "0002", 0, "`mp4a`: unknown version of an audio entry"},
      {"trex", 0, 20, "00000001", 0, "`trex`: defaults other than 1, 0, 0, 0"},
      {"afra", 0, 17, "00000002", 0, "`afra`: input ends early: 32 bytes wanted"},
      {"abst", 0, 4, "66726565", 0, "`abst` expected, `free` found"},
      {"tfhd", 0, 9, "000038", 0, "`tfhd`: no other base than the `moof` expected"},
      {"tfhd", 0, 12, "00000009", 0, "`tfhd`: a track that `moov` does not have"},
      {"tfhd", 1, 12, "00000001", 0, "`tfhd`: a track that comes twice"},
      {"trun", 0, 8, "02", 0, "`trun`: unknown version"},
      {"trun", 0, 12, "ffffffff", 0, "`trun`: input ends early: 17179869180 bytes wanted"},
      {"trun", 2, 8, "00000001 ffffffff", 0, "`trun`: more samples than there are tags"},
      {"trun", 0, 16, "00000000", 0, "`trun`: a sample outside the `mdat`"},
      {"trun", 0, 16, "80000000", 0, "`trun`: a sample outside the `mdat`"},
      {"mdat", 0, 0, "00001000", 0, "`mdat` of 4096 bytes, with"},
      {"mdat", 0, 9, "ffffff", 8, "a tag of 16777215 bytes of data, with"},
      {"mdat", 0, 8 + 19, "01", 8 + 19, "back pointer 19 expected, 16777235 found"},
      {"tfra", 0, 19, "00", 0, "`tfra`: numbers of four bytes expected"},
      {"mfro", 0, 15, "00", 0, "`mfro`: the size of the `mfra` expected"}};
  const Bytes whole = oneFragment();
  for (const auto& [type, nth, offset, image, reportedAt, fault] : rows) {
    Bytes bytes = whole;
    const std::size_t box = find(bytes, type, nth);
    std::ranges::copy(fromHex(image), bytes.begin() + static_cast<std::ptrdiff_t>(box + offset));
    try {
      ReadSegment{bytes};
      ADD_FAILURE() << fault << ": not found";
    } catch (const SegmentError& error) {
      EXPECT_EQ(error.fault().substr(0, fault.size()), fault);
      if (reportedAt == kElsewhere) continue;
      EXPECT_EQ(static_cast<std::ptrdiff_t>(error.offset() - box), reportedAt) << fault;
    }
  }
}

TEST(BoxHeaders, AreCheckedAgainstTheFile) {
  // Size and size of the header; none where the box is refused.
  const std::tuple<const char*, const char*, std::uint64_t, std::uint32_t> rows[] = {
      {"64 bits", "00000001 66726565 00000000 00000014 00000000 ffff", 20, 16},
      {"to the end", "00000000 66726565 00000000 ffff", 14, 8},
      {"beyond the end", "0000000d 66726565 00000000", 0, 0},
      {"far beyond", "00000001 66726565 ffffffff ffffffff 00000000", 0, 0},
      {"64 bits, less than the header", "00000001 66726565 00000000 0000000f 00000000", 0, 0},
      {"less than the header", "00000007 66726565 00000000", 0, 0}};
  for (const auto& [what, image, size, headerSize] : rows) {
    MemoryStream file(fromHex(image));
    if (size == 0) {
      EXPECT_THROW(readBoxAt(file, 0), SegmentError) << what;
      continue;
    }
    const BoxSpan box = readBoxAt(file, 0);
    EXPECT_EQ(std::tuple(box.size, box.headerSize), std::tuple(size, headerSize)) << what;
  }
}

}  // namespace
}  // namespace krvo::container
