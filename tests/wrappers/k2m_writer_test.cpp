// The counted handles, and the library's entries with what their wrappers never give them.

#include <gtest/gtest.h>

#include "tests/support/MemoryStream.h"
#include "tests/support/SegmentMaker.h"
#include "tests/support/hex.h"
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

/// A null pointer, or a zero; where an entry puts its answer, a place for that.
template <typename Argument>
Argument nothing() {
  using Target = std::remove_pointer_t<Argument>;
  constexpr bool kIsAnswer = std::is_pointer_v<Argument> && !std::is_const_v<Target> &&
                             (std::is_pointer_v<Target> || std::is_integral_v<Target>);
  if constexpr (kIsAnswer) {
    static Target place{};
    return &place;
  } else {
    return Argument{};
  }
}

template <typename... Arguments>
KrvoStatus givenNothing(KrvoStatus (*entry)(Arguments...)) {
  return entry(nothing<Arguments>()...);
}

template <typename... Entries>
void expectRefusals(Entries... entries) {
  for (const KrvoStatus status : {givenNothing(entries)...}) EXPECT_EQ(status, kKrvoBadArgument);
}

TEST(Entries, RefuseNullPointers) {
  expectRefusals(KrvoK2RDocCreateNew, KrvoK2RDocOpenForAppend, KrvoK2RWriterGetK2MWriterRef, KrvoK2MWriterAddTrack,
                 KrvoK2MWriterAddVideoSampleDescriptor, KrvoK2MWriterAddAudioSampleDescriptor,
                 KrvoK2MWriterAddRtmpSampleDescriptor, KrvoK2MWriterAddSampleDescriptor,
                 KrvoK2MWriterSetSampleDescriptor, KrvoK2MWriterGetTracks, KrvoK2MTrackIteratorGetNext,
                 KrvoK2MReleaseTrackIterator, KrvoK2MTrackGetInfo, KrvoK2MTrackGetEntriesInfo,
                 KrvoK2MTrackGetSampleCount, KrvoK2MTrackGetSampleDescriptors, KrvoK2MSampleDescriptorIteratorGetNext,
                 KrvoK2MReleaseSampleDescriptorIterator, KrvoK2MSampleDescriptorGetInfo,
                 KrvoK2MSampleDescriptorGetVideoInfo, KrvoK2MSampleDescriptorGetAudioInfo,
                 KrvoK2MSampleDescriptorGetRtmpInfo, KrvoK2MSampleDescriptorCopyCodecHeaderData, KrvoK2MReleaseTrack,
                 KrvoK2MReleaseSampleDescriptor, KrvoK2RWriterStartFragment, KrvoK2RWriterAddABST,
                 KrvoK2RWriterAddHintSample, KrvoK2RWriterAddSampleWithAfra, KrvoK2MWriterFlush, KrvoK2MDestroyWriter);
  EXPECT_EQ(KrvoK2RWriterAddHintTrack(nullptr, 2, nullptr, nullptr, 0, nullptr, nullptr, 0, nothing<KrvoK2MTrack**>()),
            kKrvoBadArgument);
  EXPECT_EQ(KrvoK2RDocCreateNew(nullptr, nullptr, nullptr, nullptr), kKrvoBadArgument);
  EXPECT_EQ(KrvoK2RDocOpenForAppend(nullptr, nullptr, nullptr, 0, nullptr, nullptr), kKrvoBadArgument);
}

KrvoK2MDataBuffer countedBytes(int& released) {
  return makeDataBuffer("bytes", &released, [](void* count) { ++*static_cast<int*>(count); });
}

TEST(Entries, GiveBackABufferWhateverElseIsWrong) {
  int released = 0;
  auto buffer = countedBytes(released);
  KrvoK2RWriterAddABST(nullptr, &buffer, 5);
  EXPECT_EQ(released, 1);
  KrvoK2RWriterAddHintSample(nullptr, nullptr, nullptr, &buffer, nullptr, nullptr, 0);
  EXPECT_EQ(released, 2);
  KrvoK2RWriterAddSampleWithAfra(nullptr, nullptr, &buffer, nullptr, 0);
  EXPECT_EQ(released, 3);
  KrvoK2MWriterAddVideoSampleDescriptor(nullptr, nullptr, nullptr, &buffer, nothing<KrvoK2MSampleDescriptor**>());
  EXPECT_EQ(released, 4);
  buffer.size = 31;
  KrvoK2RWriterAddABST(nullptr, &buffer, 5);
  EXPECT_EQ(released, 4) << "what follows a wrong size means nothing";
}

TEST(Entries, GiveBackTheCodecHeaderAndTheBootstrapOnce) {
  int released = 0;
  const auto buffer = countedBytes(released);
  MemoryStream stream;
  const Allocator allocator;
  const auto streamTable = makeCallBacks(stream);
  const auto document = test::documentInfo();
  KrvoK2RWriter* writer = nullptr;
  ASSERT_EQ(KrvoK2RDocCreateNew(&streamTable, &document, &allocator.callBacks(), &writer), kKrvoOk);
  KrvoK2MWriter* k2m = nullptr;
  ASSERT_EQ(KrvoK2RWriterGetK2MWriterRef(writer, &k2m), kKrvoOk);
  const Track track = Writer(k2m).addTrack(test::trackInfo("meta"_4cc), makeRecord<K2MEntriesInfo>(), "name");
  auto record = makeRecord<K2MDescriptorInfo>();
  record.codecHeaderLength = 5;
  KrvoK2MSampleDescriptor* handle = nullptr;
  ASSERT_EQ(KrvoK2MWriterAddSampleDescriptor(k2m, track.get(), &record, &buffer, &handle), kKrvoOk);
  const SampleDescriptor descriptor(handle);
  EXPECT_EQ(released, 1);
  EXPECT_EQ(test::hex(descriptor.codecHeader().bytes()), test::hex("bytes"));
  char bytes[4];
  EXPECT_EQ(KrvoK2MSampleDescriptorCopyCodecHeaderData(handle, bytes, 4), kKrvoBadArgument);

  std::uint64_t position = 0;
  ASSERT_EQ(KrvoK2RWriterStartFragment(writer, &position), kKrvoOk);
  ASSERT_EQ(KrvoK2RWriterAddABST(writer, &buffer, 5), kKrvoOk);
  EXPECT_EQ(released, 1);
  ASSERT_EQ(KrvoK2RWriterStartFragment(writer, &position), kKrvoOk);
  EXPECT_EQ(released, 2);
  ASSERT_EQ(KrvoK2RWriterAddABST(writer, &buffer, 5), kKrvoOk);
  EXPECT_EQ(KrvoK2MDestroyWriter(writer), kKrvoOk);
  EXPECT_EQ(released, 3);
}

}  // namespace
}  // namespace krvo::k2m
