// The counted handles, and the library's entries with what their wrappers never give them.

#include <gtest/gtest.h>

#include "tests/support/MemoryStream.h"
#include "tests/support/SegmentMaker.h"
#include "util/fourcc.h"

namespace krvo::k2m {
namespace {

using qvs::util::operator""_4cc;
using test::MemoryStream;
using test::SegmentMaker;

TEST(Handles, AreCopiedAndEmpty) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.addVideoTrack();
  Track copy = maker.videoTrack();
  EXPECT_EQ(copy.get(), maker.videoTrack().get());
  copy = {};
  EXPECT_FALSE(copy);
  EXPECT_TRUE(maker.videoTrack());
  EXPECT_EQ(maker.videoTrack().sampleDescriptors().at(0).codecHeader().size(), 8U);
}

TEST(K2RWriter, ThrowsTheStatusAndLeavesTheStreamReleased) {
  MemoryStream stream;
  const Allocator allocator;
  auto info = test::documentInfo();
  info.size = 47;
  EXPECT_THROW(K2RWriter(stream, info, allocator), Exception);
  info.size = 48;
  info.created.month = 13;
  EXPECT_EQ(test::statusOf([&] { K2RWriter(stream, info, allocator); }), kKrvoBadDate);
  EXPECT_EQ(stream.references, 0);
  info.created.month = 12;
  EXPECT_NO_THROW(K2RWriter(stream, info, allocator));
  EXPECT_EQ(stream.references, 0);
  EXPECT_TRUE(stream.bytes.empty());
}

TEST(K2RWriter, PassesAFlushOn) {
  MemoryStream stream;
  SegmentMaker maker(stream);
  maker.writer().k2mWriter().flush();
  EXPECT_EQ(stream.flushes, 1);
}

TEST(Entries, RefuseNullPointers) {
  KrvoK2RWriter* writer = nullptr;
  KrvoK2MWriter* k2m = nullptr;
  KrvoK2MTrack* track = nullptr;
  KrvoK2MTrackIterator* tracks = nullptr;
  KrvoK2MSampleDescriptor* descriptor = nullptr;
  KrvoK2MSampleDescriptorIterator* descriptors = nullptr;
  std::uint64_t position = 0;
  std::uint32_t count = 0;
  const KrvoStatus statuses[] = {
      KrvoK2RDocCreateNew(nullptr, nullptr, nullptr, &writer),
      KrvoK2RDocCreateNew(nullptr, nullptr, nullptr, nullptr),
      KrvoK2RDocOpenForAppend(nullptr, nullptr, nullptr, 0, nullptr, &writer),
      KrvoK2RDocOpenForAppend(nullptr, nullptr, nullptr, 0, nullptr, nullptr),
      KrvoK2RWriterGetK2MWriterRef(nullptr, &k2m),
      KrvoK2MWriterAddTrack(nullptr, nullptr, nullptr, 0, nullptr, &track),
      KrvoK2MWriterAddVideoSampleDescriptor(nullptr, nullptr, nullptr, nullptr, &descriptor),
      KrvoK2MWriterAddAudioSampleDescriptor(nullptr, nullptr, nullptr, nullptr, &descriptor),
      KrvoK2MWriterAddRtmpSampleDescriptor(nullptr, nullptr, nullptr, nullptr, &descriptor),
      KrvoK2MWriterAddSampleDescriptor(nullptr, nullptr, nullptr, nullptr, &descriptor),
      KrvoK2RWriterAddHintTrack(nullptr, 2, nullptr, nullptr, 0, nullptr, nullptr, 0, &track),
      KrvoK2MWriterSetSampleDescriptor(nullptr, nullptr, nullptr),
      KrvoK2MWriterGetTracks(nullptr, &tracks),
      KrvoK2MTrackIteratorGetNext(nullptr, &track),
      KrvoK2MReleaseTrackIterator(nullptr),
      KrvoK2MTrackGetInfo(nullptr, nullptr),
      KrvoK2MTrackGetEntriesInfo(nullptr, nullptr),
      KrvoK2MTrackGetSampleCount(nullptr, &count),
      KrvoK2MTrackGetSampleDescriptors(nullptr, &descriptors),
      KrvoK2MSampleDescriptorIteratorGetNext(nullptr, &descriptor),
      KrvoK2MReleaseSampleDescriptorIterator(nullptr),
      KrvoK2MSampleDescriptorGetInfo(nullptr, nullptr),
      KrvoK2MSampleDescriptorGetVideoInfo(nullptr, nullptr),
      KrvoK2MSampleDescriptorGetAudioInfo(nullptr, nullptr),
      KrvoK2MSampleDescriptorGetRtmpInfo(nullptr, nullptr),
      KrvoK2MSampleDescriptorCopyCodecHeaderData(nullptr, nullptr, 0),
      KrvoK2MReleaseTrack(nullptr),
      KrvoK2MReleaseSampleDescriptor(nullptr),
      KrvoK2RWriterStartFragment(nullptr, &position),
      KrvoK2RWriterAddABST(nullptr, nullptr, 0),
      KrvoK2RWriterAddHintSample(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0),
      KrvoK2RWriterAddSampleWithAfra(nullptr, nullptr, nullptr, nullptr, 0),
      KrvoK2MWriterFlush(nullptr),
      KrvoK2MDestroyWriter(nullptr)};
  for (const KrvoStatus status : statuses) EXPECT_EQ(status, kKrvoBadArgument);
}

TEST(Entries, GiveBackABufferWhateverElseIsWrong) {
  int released = 0;
  auto buffer = makeDataBuffer("bytes", &released, [](void* count) { ++*static_cast<int*>(count); });
  KrvoK2MSampleDescriptor* descriptor = nullptr;
  KrvoK2RWriterAddABST(nullptr, &buffer, 5);
  EXPECT_EQ(released, 1);
  KrvoK2RWriterAddHintSample(nullptr, nullptr, nullptr, &buffer, nullptr, nullptr, 0);
  EXPECT_EQ(released, 2);
  KrvoK2RWriterAddSampleWithAfra(nullptr, nullptr, &buffer, nullptr, 0);
  EXPECT_EQ(released, 3);
  KrvoK2MWriterAddVideoSampleDescriptor(nullptr, nullptr, nullptr, &buffer, &descriptor);
  EXPECT_EQ(released, 4);
  buffer.size = 31;
  KrvoK2RWriterAddABST(nullptr, &buffer, 5);
  EXPECT_EQ(released, 4) << "what follows a wrong size means nothing";
}

TEST(Entries, GiveBackTheCodecHeaderAndTheBootstrapOnce) {
  int released = 0;
  const auto buffer = makeDataBuffer("bytes", &released, [](void* count) { ++*static_cast<int*>(count); });
  MemoryStream stream;
  const Allocator allocator;
  const auto streamTable = makeCallBacks(stream);
  const auto document = test::documentInfo();
  KrvoK2RWriter* writer = nullptr;
  ASSERT_EQ(KrvoK2RDocCreateNew(&streamTable, &document, &allocator.callBacks(), &writer), kKrvoOk);
  KrvoK2MWriter* k2m = nullptr;
  ASSERT_EQ(KrvoK2RWriterGetK2MWriterRef(writer, &k2m), kKrvoOk);
  const auto info = test::trackInfo("meta"_4cc);
  const auto entries = makeRecord<K2MEntriesInfo>();
  KrvoK2MTrack* track = nullptr;
  ASSERT_EQ(KrvoK2MWriterAddTrack(k2m, &info, &entries, 5000, "name", &track), kKrvoOk);
  auto record = makeRecord<K2MDescriptorInfo>();
  record.codecHeaderLength = 5;
  KrvoK2MSampleDescriptor* descriptor = nullptr;
  ASSERT_EQ(KrvoK2MWriterAddSampleDescriptor(k2m, track, &record, &buffer, &descriptor), kKrvoOk);
  EXPECT_EQ(released, 1);
  char bytes[5];
  EXPECT_EQ(KrvoK2MSampleDescriptorCopyCodecHeaderData(descriptor, bytes, 4), kKrvoBadArgument);
  EXPECT_EQ(KrvoK2MSampleDescriptorCopyCodecHeaderData(descriptor, bytes, 5), kKrvoOk);
  EXPECT_EQ(std::string(bytes, 5), "bytes");

  std::uint64_t position = 0;
  ASSERT_EQ(KrvoK2RWriterStartFragment(writer, &position), kKrvoOk);
  ASSERT_EQ(KrvoK2RWriterAddABST(writer, &buffer, 5), kKrvoOk);
  EXPECT_EQ(released, 1);
  ASSERT_EQ(KrvoK2RWriterStartFragment(writer, &position), kKrvoOk);
  EXPECT_EQ(released, 2);
  ASSERT_EQ(KrvoK2RWriterAddABST(writer, &buffer, 5), kKrvoOk);
  EXPECT_EQ(KrvoK2MDestroyWriter(writer), kKrvoOk);
  EXPECT_EQ(released, 3);
  EXPECT_EQ(KrvoK2MReleaseSampleDescriptor(descriptor), kKrvoOk);
  EXPECT_EQ(KrvoK2MReleaseTrack(track), kKrvoOk);
}

}  // namespace
}  // namespace krvo::k2m
